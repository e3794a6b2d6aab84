#include "kernel.h"

#include <net/if.h>
#include <netlink/errno.h>
#include <netlink/netlink.h>
#include <netlink/route/addr.h>
#include <netlink/route/link.h>
#include <netlink/route/link/vlan.h>
#include <netlink/route/neighbour.h>
#include <netlink/route/nexthop.h>
#include <netlink/route/route.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace network {

namespace {

// A table that changes while it is read is read again.
constexpr int kAttempts = 10;

// libnl's objects of one kind are told apart by their parser only: the dump's type fixes which one arrives.
template <typename T>
T* as(nl_object* object) {
    return reinterpret_cast<T*>(object);
}

template <typename T>
struct Put {
    void operator()(T* object) const { nl_object_put(reinterpret_cast<nl_object*>(object)); }
};
template <typename T>
using Owned = std::unique_ptr<T, Put<T>>;

IpAddress to_ip(nl_addr* address) {
    IpAddress ip;
    if (address == nullptr) return ip;
    ip.family = nl_addr_get_family(address);
    const std::size_t length = std::min<std::size_t>(nl_addr_get_len(address), ip.size());
    if (length != 0) std::memcpy(ip.bytes.data(), nl_addr_get_binary_addr(address), length);
    return ip;
}

Link to_link(rtnl_link* link) {
    Link out;
    out.index = rtnl_link_get_ifindex(link);
    if (const char* name = rtnl_link_get_name(link)) out.name = name;
    if (const char* kind = rtnl_link_get_type(link)) out.kind = kind;
    out.arp_type = rtnl_link_get_arptype(link);
    out.flags = rtnl_link_get_flags(link);
    out.lower = rtnl_link_get_link(link);
    out.master = rtnl_link_get_master(link);
    if (rtnl_link_is_vlan(link) != 0) out.vlan_id = rtnl_link_vlan_get_id(link);
    out.rx_bytes = rtnl_link_get_stat(link, RTNL_LINK_RX_BYTES);
    out.tx_bytes = rtnl_link_get_stat(link, RTNL_LINK_TX_BYTES);
    out.rx_packets = rtnl_link_get_stat(link, RTNL_LINK_RX_PACKETS);
    out.tx_packets = rtnl_link_get_stat(link, RTNL_LINK_TX_PACKETS);
    return out;
}

Address to_address(rtnl_addr* address) {
    Address out;
    out.ifindex = rtnl_addr_get_ifindex(address);
    out.ip = to_ip(rtnl_addr_get_local(address));
    out.peer = to_ip(rtnl_addr_get_peer(address));
    out.prefix = static_cast<unsigned>(std::max(rtnl_addr_get_prefixlen(address), 0));
    out.expires = rtnl_addr_get_valid_lifetime(address) != UINT32_MAX;
    return out;
}

Route to_route(rtnl_route* route) {
    Route out;
    nl_addr* destination = rtnl_route_get_dst(route);
    out.destination = to_ip(destination);
    out.prefix = destination == nullptr ? 0 : nl_addr_get_prefixlen(destination);
    out.metric = rtnl_route_get_priority(route);
    for (int i = 0; i < rtnl_route_get_nnexthops(route); ++i) {
        rtnl_nexthop* hop = rtnl_route_nexthop_n(route, i);
        nl_addr* gateway = rtnl_route_nh_get_gateway(hop);
        if (gateway == nullptr) gateway = rtnl_route_nh_get_via(hop);  // an IPv4 route through an IPv6 neighbour
        out.hops.push_back({rtnl_route_nh_get_ifindex(hop), to_ip(gateway)});
    }
    return out;
}

Neighbour to_neighbour(int state) {
    if ((state & (NUD_REACHABLE | NUD_PERMANENT | NUD_NOARP)) != 0) return Neighbour::Answers;
    if ((state & (NUD_INCOMPLETE | NUD_PROBE)) != 0) return Neighbour::Asking;
    if ((state & (NUD_STALE | NUD_DELAY)) != 0) return Neighbour::Unproven;
    return (state & NUD_FAILED) != 0 ? Neighbour::Silent : Neighbour::Unknown;
}

struct Visit {
    const std::function<void(nl_object*)>& each;
    bool failed = false;
};

void on_object(nl_object* object, void* argument) noexcept {
    auto& visit = *static_cast<Visit*>(argument);
    try {
        visit.each(object);
    } catch (...) {
        visit.failed = true;
    }
}

int on_message(nl_msg* message, void* argument) {
    auto& visit = *static_cast<Visit*>(argument);
    if (nl_msg_parse(message, on_object, argument) < 0) visit.failed = true;
    return NL_OK;
}

}  // namespace

void Kernel::Close::operator()(nl_sock* socket) const {
    nl_socket_free(socket);
}

Kernel::Kernel() : socket_(nl_socket_alloc()) {
    error_ = socket_ ? nl_connect(socket_.get(), NETLINK_ROUTE) : -NLE_NOMEM;
    if (error_ < 0) socket_.reset();
}

const char* Kernel::error() const {
    return nl_geterror(error_);
}

// The raw dump rather than libnl's caches: these keep one of several routes that differ in their gateway alone.
bool Kernel::dump_once(int type, int family, const std::function<void(nl_object*)>& each) {
    if (!socket_) return false;
    rtgenmsg request = {};
    request.rtgen_family = static_cast<unsigned char>(family);
    Visit visit{each};
    nl_socket_modify_cb(socket_.get(), NL_CB_VALID, NL_CB_CUSTOM, on_message, &visit);
    error_ = nl_send_simple(socket_.get(), type, NLM_F_DUMP, &request, sizeof request);
    if (error_ >= 0) error_ = nl_recvmsgs_default(socket_.get());
    nl_socket_modify_cb(socket_.get(), NL_CB_VALID, NL_CB_DEFAULT, nullptr, nullptr);
    if (error_ >= 0 && visit.failed) error_ = -NLE_NOMEM;
    return error_ >= 0;
}

bool Kernel::dump(int type, int family, const std::function<void(nl_object*)>& each) {
    std::vector<Owned<nl_object>> objects;
    for (int i = 0; i < kAttempts; ++i) {
        objects.clear();
        const auto keep = [&objects](nl_object* object) {
            nl_object_get(object);
            objects.emplace_back(object);
        };
        if (dump_once(type, family, keep)) {
            for (const auto& object : objects)
                each(object.get());
            return true;
        }
        if (error_ != -NLE_DUMP_INTR) return false;
    }
    return false;
}

bool Kernel::links(std::vector<Link>& out) {
    std::vector<Link> found;
    if (!dump(RTM_GETLINK, AF_UNSPEC, [&](nl_object* o) { found.push_back(to_link(as<rtnl_link>(o))); }))
        return false;
    out.swap(found);
    return true;
}

bool Kernel::addresses(std::vector<Address>& out) {
    std::vector<Address> found;
    if (!dump(RTM_GETADDR, AF_UNSPEC, [&](nl_object* o) { found.push_back(to_address(as<rtnl_addr>(o))); }))
        return false;
    out.swap(found);
    return true;
}

bool Kernel::routes(int family, std::vector<Route>& out) {
    std::vector<Route> found;
    const auto each = [&](nl_object* object) {
        auto* route = as<rtnl_route>(object);
        const bool ours = rtnl_route_get_table(route) == RT_TABLE_MAIN && rtnl_route_get_type(route) == RTN_UNICAST;
        if (ours && (rtnl_route_get_flags(route) & RTM_F_CLONED) == 0) found.push_back(to_route(route));
    };
    if (!dump(RTM_GETROUTE, family, each)) return false;
    out.swap(found);
    return true;
}

Found Kernel::link(const std::string& name, Link& out) {
    if (name.empty() || name.size() >= IFNAMSIZ) return Found::No;
    if (!socket_) return Found::Failed;
    rtnl_link* raw = nullptr;
    error_ = rtnl_link_get_kernel(socket_.get(), 0, name.c_str(), &raw);
    if (error_ == -NLE_NODEV || error_ == -NLE_OBJ_NOTFOUND) return Found::No;
    if (error_ < 0 || raw == nullptr) return Found::Failed;
    const Owned<rtnl_link> link(raw);
    out = to_link(raw);
    return Found::Yes;
}

bool Kernel::neighbour(int ifindex, const IpAddress& ip, Neighbour& out) {
    Neighbour found = Neighbour::Unknown;
    const auto each = [&](nl_object* object) {
        auto* entry = as<rtnl_neigh>(object);
        if (rtnl_neigh_get_ifindex(entry) == ifindex && to_ip(rtnl_neigh_get_dst(entry)) == ip)
            found = to_neighbour(rtnl_neigh_get_state(entry));
    };
    if (!dump(RTM_GETNEIGH, ip.family, each)) return false;
    out = found;
    return true;
}

bool Kernel::ask_neighbour_again(int ifindex, const IpAddress& ip) {
    Owned<rtnl_neigh> request;
    const auto each = [&](nl_object* object) {
        auto* entry = as<rtnl_neigh>(object);
        if (rtnl_neigh_get_ifindex(entry) != ifindex || !(to_ip(rtnl_neigh_get_dst(entry)) == ip)) return;
        // What somebody set by hand is not to be overwritten.
        if ((rtnl_neigh_get_state(entry) & (NUD_REACHABLE | NUD_STALE | NUD_DELAY)) == 0) return;
        request.reset(rtnl_neigh_alloc());
        if (!request) return;
        rtnl_neigh_set_ifindex(request.get(), ifindex);
        rtnl_neigh_set_dst(request.get(), rtnl_neigh_get_dst(entry));
        rtnl_neigh_set_lladdr(request.get(), rtnl_neigh_get_lladdr(entry));
        rtnl_neigh_set_state(request.get(), NUD_PROBE);
    };
    if (!dump(RTM_GETNEIGH, ip.family, each) || !request) return false;
    error_ = rtnl_neigh_add(socket_.get(), request.get(), NLM_F_REPLACE);
    return error_ >= 0;
}

}  // namespace network
