#include "subnet_conflict.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "kernel.h"

namespace network {

namespace {

struct Range {
    uint32_t first, last;  // host order
    std::string owner;     // for people
};

std::optional<uint32_t> dotted_quad(const json_t* value) {
    in_addr address = {};
    const char* text = json_string_value(value);
    if (text == nullptr || inet_pton(AF_INET, text, &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

uint32_t host_order(const IpAddress& ip) {
    uint32_t value = 0;
    std::memcpy(&value, ip.bytes.data(), sizeof value);
    return ntohl(value);
}

uint32_t mask_of_prefix(unsigned prefix) {
    return prefix == 0 ? 0 : UINT32_MAX << (32 - std::min(prefix, 32U));
}

Range make_range(const IpAddress& ip, unsigned prefix, const std::string& interface) {
    const uint32_t mask = mask_of_prefix(prefix);
    const uint32_t first = host_order(ip) & mask;
    IpAddress network{AF_INET, {}};
    const uint32_t wire = htonl(first);
    std::memcpy(network.bytes.data(), &wire, sizeof wire);
    return {first, first | ~mask, network.text() + "/" + std::to_string(prefix) + " of " + interface};
}

void add_addresses(const std::vector<Address>& addresses, const std::vector<Link>& links,
                   std::vector<Range>& ranges) {
    for (const Address& address : addresses) {
        if (address.ip.family != AF_INET) continue;
        const auto link = std::ranges::find(links, address.ifindex, &Link::index);
        if (link == links.end() || (link->flags & IFF_UP) == 0 || (link->flags & IFF_LOOPBACK) != 0) continue;
        // On a point-to-point link the prefix is the far end's, and the own address stands alone.
        const bool pair = address.peer.family == AF_INET && !(address.peer == address.ip);
        ranges.push_back(make_range(address.ip, pair ? 32 : address.prefix, link->name));
        if (pair) ranges.push_back(make_range(address.peer, address.prefix, link->name));
    }
}

void add_routes(const std::vector<Route>& routes, const std::vector<Link>& links, std::vector<Range>& ranges) {
    for (const Route& route : routes) {
        if (route.prefix == 0 || route.hops.empty()) continue;
        const auto link = std::ranges::find(links, route.hops.front().ifindex, &Link::index);
        if (link != links.end() && (link->flags & IFF_LOOPBACK) != 0) continue;
        ranges.push_back(make_range(route.destination, route.prefix, link == links.end() ? "a route" : link->name));
    }
}

bool used_ranges(Kernel& kernel, std::vector<Range>& ranges) {
    std::vector<Link> links;
    std::vector<Address> addresses;
    std::vector<Route> routes;
    if (!kernel.links(links) || !kernel.addresses(addresses) || !kernel.routes(AF_INET, routes)) return false;
    add_addresses(addresses, links, ranges);
    add_routes(routes, links, ranges);
    return true;
}

}  // namespace

Json check_subnet(const json_t* request) {
    const auto ip = dotted_quad(json_object_get(request, "ip"));
    if (!ip) return failure(kBadSubnetRequest, "\"ip\" must be an IPv4 address");
    const auto mask = dotted_quad(json_object_get(request, "mask"));
    if (!mask || (~*mask & (~*mask + 1)) != 0)
        return failure(kBadSubnetRequest, "\"mask\" must be an IPv4 netmask without gaps");

    Kernel kernel;
    std::vector<Range> ranges;
    if (!used_ranges(kernel, ranges)) return failure(kKernelFailed, kernel.error());
    const uint32_t first = *ip & *mask;
    const uint32_t last = *ip | ~*mask;
    for (const Range& range : ranges)
        if (first <= range.last && last >= range.first) return failure(kSubnetOverlaps, "Overlaps " + range.owner);
    return success(Json(json_string("")));
}

}  // namespace network
