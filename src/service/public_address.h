// The bus method that describes the NAS's WAN port. The daemon's own.
#pragma once

#include <bsvc.h>

namespace harbex::service {

// Bus method: reads nothing, answers the record of the one WAN port, "PORT1".
// Blocks for up to 130 s of calls to other services.
int Get_public_ip(bs_io* io);

}  // namespace harbex::service
