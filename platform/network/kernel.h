// What the kernel's own tables say about links, addresses, routes and neighbours. The only file that sees libnl.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ip_address.h"

struct nl_object;
struct nl_sock;

namespace network {

struct Link {
    int index = 0;
    std::string name;
    std::string kind;       // the kernel's word for a virtual link ("bridge", "vlan", "tun", …); "" for hardware
    unsigned arp_type = 0;  // ARPHRD_…
    unsigned flags = 0;     // IFF_…
    int lower = 0;          // the link below (VLAN) or beside (veth); 0: none
    int master = 0;         // the bridge or bond it is a port of; 0: none
    int vlan_id = 0;        // 0: no VLAN
    uint64_t rx_bytes = 0, tx_bytes = 0, rx_packets = 0, tx_packets = 0;
};

struct Address {
    int ifindex = 0;
    IpAddress ip;
    IpAddress peer;  // the far end of a point-to-point link, which `prefix` then belongs to
    unsigned prefix = 0;
    bool expires = false;  // it has a lifetime: somebody leased it
};

struct NextHop {
    int ifindex = 0;
    IpAddress gateway;  // none: the destination is on the link itself
};

struct Route {  // a unicast route of the main table
    IpAddress destination;
    unsigned prefix = 0;  // 0: a default route
    int64_t metric = 0;
    std::vector<NextHop> hops;
};

enum class Found { Yes, No, Failed };
enum class Neighbour {
    Unknown,   // no entry
    Asking,    // a request is on the way
    Answers,   // confirmed, or configured by hand
    Unproven,  // it answered once
    Silent     // did not answer
};

// One conversation with the kernel. Every function asks afresh and blocks for milliseconds at most; on failure its
// output is untouched and error() says why. One thread at a time; a conversation costs one descriptor.
class Kernel {
public:
    Kernel();
    [[nodiscard]] bool links(std::vector<Link>& out);
    [[nodiscard]] bool addresses(std::vector<Address>& out);
    [[nodiscard]] bool routes(int family, std::vector<Route>& out);  // AF_INET or AF_INET6, in the kernel's order
    [[nodiscard]] Found link(const std::string& name, Link& out);
    [[nodiscard]] bool neighbour(int ifindex, const IpAddress& ip, Neighbour& out);
    // Has the kernel ask a neighbour that it knows again; it is then Asking until the answer. False: not permitted,
    // or not known any more.
    [[nodiscard]] bool ask_neighbour_again(int ifindex, const IpAddress& ip);
    [[nodiscard]] const char* error() const;

private:
    [[nodiscard]] bool dump(int type, int family, const std::function<void(nl_object*)>& each);
    [[nodiscard]] bool dump_once(int type, int family, const std::function<void(nl_object*)>& each);

    struct Close {
        void operator()(nl_sock* socket) const;
    };
    std::unique_ptr<nl_sock, Close> socket_;
    int error_ = 0;  // of libnl
};

}  // namespace network
