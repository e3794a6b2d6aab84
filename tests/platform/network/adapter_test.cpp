#include "adapter.h"

#include <gtest/gtest.h>
#include <net/if_arp.h>

#include "ip_address.h"

namespace network {
namespace {

Link make_link(int index, const std::string& name, const std::string& kind = "", int lower = 0, int master = 0) {
    Link link;
    link.index = index;
    link.name = name;
    link.kind = kind;
    link.arp_type = ARPHRD_ETHER;
    link.lower = lower;
    link.master = master;
    return link;
}

TEST(Adapter, NamesForPeople) {
    const std::vector<Link> all = {
        make_link(1, "eth0", "veth", 9), make_link(2, "eth11", "", 0, 5),
        make_link(3, "eth2", "", 0, 5),  make_link(4, "eth0.7", "vlan", 1),
        make_link(5, "bond0", "bond"),   make_link(6, "bond0.9", "vlan", 5),
        make_link(7, "br0", "bridge"),   make_link(8, "loop", "vlan", 8),
        make_link(9, "ethernet5"),       make_link(10, "eth"),
        make_link(11, "eth99999999999"), make_link(12, "tun0", "tun"),
    };
    const struct {
        int index;
        const char *type, *display, *location;
    } cases[] = {
        {1, "ethernet", "Adapter 1", "NAS Port 1"},
        {2, "ethernet", "Adapter 12", "NAS Port 12"},
        {4, "vlan", "eth0.7", "NAS Port 1"},
        {5, "bond", "bond0", "NAS Port 3"},
        {6, "vlan", "bond0.9", "NAS Port 3"},
        {7, "bridge", "br0", ""},
        {8, "vlan", "loop", ""},
        {9, "ethernet", "ethernet5", ""},
        {10, "ethernet", "eth", ""},
        {11, "ethernet", "eth99999999999", ""},
        {12, "VPN", "tun0", ""},
    };
    for (const auto& c : cases) {
        const Link& link = all.at(static_cast<std::size_t>(c.index) - 1);
        EXPECT_EQ(interface_type(link), c.type) << link.name;
        EXPECT_EQ(display_name(link.name), c.display);
        EXPECT_EQ(physical_location(link, all), c.location) << link.name;
    }
}

TEST(Adapter, TunnelsAreKnownByTheirLinkLayerToo) {
    Link link = make_link(1, "wg0", "somethingnew");
    EXPECT_EQ(interface_type(link), "ethernet");
    link.arp_type = ARPHRD_NONE;
    EXPECT_EQ(interface_type(link), "VPN");
    link.arp_type = ARPHRD_PPP;
    EXPECT_EQ(interface_type(link), "VPN");
}

TEST(Adapter, Netmasks) {
    const struct {
        int family;
        unsigned prefix;
        const char* text;
    } cases[] = {
        {AF_INET, 0, "0.0.0.0"},
        {AF_INET, 20, "255.255.240.0"},
        {AF_INET, 32, "255.255.255.255"},
        {AF_INET6, 0, "::"},
        {AF_INET6, 60, "ffff:ffff:ffff:fff0::"},
        {AF_INET6, 128, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(netmask_text(c.family, c.prefix), c.text);
}

}  // namespace
}  // namespace network
