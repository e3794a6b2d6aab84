#include "adapter.h"

#include <net/if_arp.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace network {

namespace {

// Stacked links (a VLAN on a bond on ports) nest no deeper than this; also what ends a loop.
constexpr int kDeepest = 8;

constexpr struct {
    std::string_view kind, type;
} kTypes[] = {
    {"bridge", "bridge"}, {"vlan", "vlan"}, {"bond", "bond"}, {"team", "bond"},  {"openvswitch", "vswitch"},
    {"tun", "VPN"},       {"ppp", "VPN"},   {"gre", "VPN"},   {"ip6gre", "VPN"}, {"gretap", "VPN"},
    {"wireguard", "VPN"}, {"ipip", "VPN"},  {"sit", "VPN"},   {"ip6tnl", "VPN"}, {"vti", "VPN"},
};

// 1 for eth0 and so on; 0 for another name.
unsigned port_of_name(std::string_view name) {
    constexpr std::string_view kPrefix = "eth";
    if (!name.starts_with(kPrefix)) return 0;
    name.remove_prefix(kPrefix.size());
    uint16_t number = 0;
    const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), number);
    return failure == std::errc() && end == name.data() + name.size() ? number + 1U : 0;
}

unsigned port(const Link& link, const std::vector<Link>& all, int depth) {
    if (const unsigned own = port_of_name(link.name)) return own;
    if (depth == kDeepest) return 0;
    unsigned lowest = 0;
    for (const Link& other : all) {
        const bool below = link.kind == "vlan" ? other.index == link.lower : other.master == link.index;
        if (!below) continue;
        const unsigned found = port(other, all, depth + 1);
        if (found != 0 && (lowest == 0 || found < lowest)) lowest = found;
    }
    return lowest;
}

}  // namespace

std::string interface_type(const Link& link) {
    const auto* row = std::ranges::find(kTypes, link.kind, [](const auto& r) { return r.kind; });
    if (row != std::end(kTypes)) return std::string(row->type);
    // A tunnel may come without a kind, but its link layer has no Ethernet addresses.
    const bool tunnel = link.arp_type == ARPHRD_PPP || link.arp_type == ARPHRD_NONE ||
                        link.arp_type == ARPHRD_TUNNEL || link.arp_type == ARPHRD_TUNNEL6 ||
                        link.arp_type == ARPHRD_IPGRE;
    return tunnel ? "VPN" : "ethernet";
}

std::string display_name(const std::string& name) {
    const unsigned number = port_of_name(name);
    return number == 0 ? name : "Adapter " + std::to_string(number);
}

std::string physical_location(const Link& link, const std::vector<Link>& all) {
    const unsigned number = port(link, all, 0);
    return number == 0 ? "" : "NAS Port " + std::to_string(number);
}

}  // namespace network
