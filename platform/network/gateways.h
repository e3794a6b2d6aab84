// The NAS's ways out: its default routes with the interface each one uses.
#pragma once

#include "envelope.h"

namespace network {

// {"error":0,"data":[…]}: one element for each interface of each default route of the main table, the lowest metric
// first, equal ones in the kernel's order; [] without any. IPv6 default routes are told only while there is none for
// IPv4: their metrics do not compare. kKernelFailed otherwise.
Json current_gateways();

}  // namespace network
