// Whether a subnet is free to be used beside the networks that the NAS already knows.
#pragma once

#include "envelope.h"

namespace network {

constexpr int kSubnetOverlaps = 1;
constexpr int kBadSubnetRequest = 2;

// For {"ip":…,"mask":…} (dotted quads, the mask without gaps): {"error":0,"data":""} when the subnet is free,
// kSubnetOverlaps when it touches the subnet of an interface that is up (loopback apart) or the destination of a
// route other than a default route, kBadSubnetRequest otherwise; "data" says why.
Json check_subnet(const json_t* request);

}  // namespace network
