#pragma once

#include <bsvc.h>

namespace harbex::service {

// Bus method; reads nothing from its request. Answers with the gateway interface's counters and the edge daemon's
// tunnels.
int Get_rxtx(bs_io* io);

}  // namespace harbex::service
