// IPv4 ranges, and whether one clashes with a network this NAS uses. Addresses and masks are in network byte order.
// Published.
#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

namespace harbex::system {

in_addr calculate_net(const in_addr& ip, const in_addr& mask);
in_addr calculate_broadcast(const in_addr& ip, const in_addr& mask);

// 1 when the two ranges share an address, else 0.
int is_intersect(const in_addr& ip1, const in_addr& mask1, const in_addr& ip2, const in_addr& mask2);

// Asks the network manager whether `ip`/`mask` (dotted quads) overlaps a network the NAS uses. Blocks for up to 60 s.
// Returns NO_ERROR, ERR_IP_POOL_CONFLICT on an overlap, ERR_BS_CALL_FAILED when the manager cannot be asked or
// answers no JSON, ERR_BS_API_RET_ERROR for any other answer. Failures and overlaps are logged.
[[nodiscard]] int is_network_intersect(const char* ip, const char* mask);
// The mask of a single address. The library's own.
inline constexpr const char kHostMask[] = "255.255.255.255";

// The count of leading ones of a mask, 0 to 32, into `prefix`. 0, or 1 (logged, `prefix` untouched) for a mask with a
// gap.
[[nodiscard]] int netmask_to_prefix(const in_addr& mask, int& prefix);

// Appends the network of every IPv4 address of this NAS's interfaces but "lo", as "192.168.1.0/24", in the kernel's
// order, duplicates included. Interfaces with an unusable mask are logged and skipped. NO_ERROR, or ERR_CMD_FAILED
// when the interfaces cannot be listed.
[[nodiscard]] int collect_all_interface_subnet(std::vector<std::string>& subnets);

}  // namespace harbex::system
