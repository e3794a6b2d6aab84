// The bus methods that answer with the gateway interface. The daemon's own.
#pragma once

#include <bsvc.h>

namespace harbex::service {

// Bus methods; none reads its request.
int Get_gateway_info(bs_io* io);
int Get_rxtx_bytecount(bs_io* io);
int Get_port_status(bs_io* io);

}  // namespace harbex::service
