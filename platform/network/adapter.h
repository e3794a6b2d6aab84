// How the NAS names its network adapters to people.
#pragma once

#include <string>
#include <vector>

#include "kernel.h"

namespace network {

// "ethernet", "bridge", "vlan", "bond", "vswitch", or "VPN" for a tunnel.
std::string interface_type(const Link& link);

// "Adapter 1" for eth0 and so on; any other interface goes by its own name.
std::string display_name(const std::string& name);

// "NAS Port 1" for eth0 and so on. A VLAN has the port of the link below it, a bridge or bond the lowest port among
// its members. "" for what has no port. The port's number is the text's last run of digits.
std::string physical_location(const Link& link, const std::vector<Link>& all);

}  // namespace network
