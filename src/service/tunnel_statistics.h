// The bus method with the edge's traffic and tunnels. The daemon's own.
#pragma once

#include <bsvc.h>

namespace harbex::service {

// Bus method: reads nothing, answers the gateway interface's counters and the edge daemon's tunnels. Blocks for up to
// 130 s of calls to other services.
int Get_rxtx(bs_io* io);

}  // namespace harbex::service
