// The bus methods that answer with the gateway interface. The daemon's own.
#pragma once

#include <bsvc.h>

namespace harbex::service {

// Bus method: reads nothing, answers the counters "ns" and the interface "gw_info". Blocks for up to 10 s.
int Get_gateway_info(bs_io* io);
// Bus method: reads nothing, answers the interface's counters under its name. Blocks for up to 10 s.
int Get_rxtx_bytecount(bs_io* io);
// Bus method: reads nothing, answers a list of the one port. Blocks for up to 10 s.
int Get_port_status(bs_io* io);

}  // namespace harbex::service
