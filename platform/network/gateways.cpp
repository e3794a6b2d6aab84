#include "gateways.h"

#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <vector>

#include "adapter.h"
#include "kernel.h"

namespace network {

namespace {

struct Candidate {
    int64_t metric;
    int ifindex;
};

struct Tables {
    std::vector<Link> links;
    std::vector<Address> addresses;
    std::vector<Candidate> candidates;
};

bool add_default_routes(Kernel& kernel, int family, std::vector<Candidate>& candidates) {
    std::vector<Route> routes;
    if (!kernel.routes(family, routes)) return false;
    for (const Route& route : routes) {
        if (route.prefix != 0) continue;
        std::vector<int> seen;  // several gateways behind one interface are one candidate
        for (const NextHop& hop : route.hops) {
            if (std::ranges::find(seen, hop.ifindex) != seen.end()) continue;
            seen.push_back(hop.ifindex);
            candidates.push_back({route.metric, hop.ifindex});
        }
    }
    return true;
}

bool read_tables(Kernel& kernel, Tables& tables) {
    if (!add_default_routes(kernel, AF_INET, tables.candidates)) return false;
    if (tables.candidates.empty() && !add_default_routes(kernel, AF_INET6, tables.candidates)) return false;
    std::ranges::stable_sort(tables.candidates, {}, &Candidate::metric);
    return kernel.links(tables.links) && kernel.addresses(tables.addresses);
}

Json address_list(const Tables& tables, int ifindex, int family) {
    Json list(json_array());
    for (const Address& address : tables.addresses) {
        if (address.ifindex != ifindex || address.ip.family != family) continue;
        json_array_append_new(list.get(), json_pack("{s:s, s:s}", "ip", address.ip.text().c_str(), "netmask",
                                                    netmask_text(family, address.prefix).c_str()));
    }
    return list;
}

// Of the interface's first IPv4 address; "" when it has none.
const char* ip4_type(const Tables& tables, int ifindex) {
    for (const Address& address : tables.addresses)
        if (address.ifindex == ifindex && address.ip.family == AF_INET) return address.expires ? "dhcp" : "static";
    return "";
}

Json status(const Link& link, const Tables& tables) {
    return Json(json_pack("{s:i, s:i, s:o, s:s, s:s, s:o, s:o, s:I, s:I, s:I, s:I}",      //
                          "link_running", (link.flags & IFF_RUNNING) != 0 ? 1 : 0,        //
                          "vlan_id", link.vlan_id,                                        //
                          "display_name", json_text(display_name(link.name)).release(),   //
                          "ip4_type", ip4_type(tables, link.index),                       //
                          "physical_loc", physical_location(link, tables.links).c_str(),  //
                          "IPv4", address_list(tables, link.index, AF_INET).release(),    //
                          "IPv6", address_list(tables, link.index, AF_INET6).release(),   //
                          "tx_bytes_count", static_cast<json_int_t>(link.tx_bytes),       //
                          "rx_bytes_count", static_cast<json_int_t>(link.rx_bytes),       //
                          "tx_packets_count", static_cast<json_int_t>(link.tx_packets),   //
                          "rx_packets_count", static_cast<json_int_t>(link.rx_packets)));
}

Json element(const Candidate& candidate, const Link& link, const Tables& tables) {
    return Json(json_pack("{s:o, s:o, s:s, s:I, s:o}",                                   //
                          "ifname", json_text(link.name).release(),                      //
                          "display_name", json_text(display_name(link.name)).release(),  //
                          "interface_type", interface_type(link).c_str(),                //
                          "metric", static_cast<json_int_t>(candidate.metric),           //
                          "status", status(link, tables).release()));
}

}  // namespace

Json current_gateways() {
    Kernel kernel;
    Tables tables;
    if (!read_tables(kernel, tables)) return failure(kKernelFailed, kernel.error());
    Json list(json_array());
    for (const Candidate& candidate : tables.candidates) {
        const auto link = std::ranges::find(tables.links, candidate.ifindex, &Link::index);
        if (link == tables.links.end()) continue;  // it went away between two questions
        json_array_append_new(list.get(), element(candidate, *link, tables).release());
    }
    return success(std::move(list));
}

}  // namespace network
