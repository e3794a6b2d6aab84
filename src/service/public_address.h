#pragma once

#include <bsvc.h>

namespace harbex::service {

// Bus method; reads nothing from its request. Answers with the record of the one WAN port, "PORT1".
int Get_public_ip(bs_io* io);

}  // namespace harbex::service
