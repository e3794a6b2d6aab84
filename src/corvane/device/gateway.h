// The NAS's own network attachment: the first port's hardware address, the default gateway, and the routing tables of
// the edge. Published.
#pragma once

#include <string>

namespace harbex::corvane {

// The label of the port at `physical_loc`: the last run of decimal digits in it, or all of it when it has none.
std::string get_ethernet_loc(const std::string& physical_loc);

// The hardware address of eth0 as "02:00:5e:00:01:0a". NO_ERROR, or ERR_CMD_FAILED with `mac` untouched.
[[nodiscard]] int get_eth0_mac(std::string& mac);

// The number of set bits of a dotted mask, counted piece by piece in the low 8 bits of each; nothing is validated.
int maskToCIDR(const std::string& mask);

// The address of the network manager's first default gateway; "" when unknown, which is logged. Blocks for up to 60
// s.
std::string get_gateway_ip();
// The interface that gateway is reached through, "eth0". Failure and time as with get_gateway_ip.
std::string get_gateway_interface_name();
// The name the NAS's user knows that interface by. Failure and time as with get_gateway_ip.
std::string get_gateway_display_name();

// Stores the policy-routing tables that the edge daemon is to use. NO_ERROR or ERR_CMD_FAILED.
[[nodiscard]] int set_corvane_express_cfg();

}  // namespace harbex::corvane
