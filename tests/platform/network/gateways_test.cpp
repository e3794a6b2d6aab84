#include <string>
#include <vector>

#include "manager.h"

namespace network::test {
namespace {

constexpr const char* kMethod = "api.get_currentGWinfo";

std::string text(const json_t* object, const char* key) {
    const char* value = json_string_value(json_object_get(object, key));
    return value == nullptr ? "(no text)" : value;
}

long long number(const json_t* object, const char* key) {
    const json_t* value = json_object_get(object, key);
    return json_is_integer(value) ? json_integer_value(value) : -1;
}

// "eth0 100, test1 200": interface and metric of each element.
std::string ways_out(const BusReply& reply) {
    std::string all;
    std::size_t i = 0;
    json_t* element = nullptr;
    json_array_foreach(reply.data(), i, element) all +=
        (all.empty() ? "" : ", ") + text(element, "ifname") + " " + std::to_string(number(element, "metric"));
    return all;
}

// "192.0.2.1/255.255.255.0 …" of the status member "IPv4" or "IPv6".
std::string addresses(const json_t* status, const char* family) {
    std::string all;
    std::size_t i = 0;
    json_t* element = nullptr;
    json_array_foreach(json_object_get(status, family), i, element) all +=
        (all.empty() ? "" : " ") + text(element, "ip") + "/" + text(element, "netmask");
    return all;
}

class Gateways : public Manager {};

TEST_F(Gateways, ElementTellsTheKernelsFigures) {
    shell("ip -6 addr add 2001:db8::10/60 dev eth0 nodad; ip addr add 10.9.0.5/16 dev eth0");
    send_through_eth0(5);
    const struct {
        const char *member, *counter;
    } counters[] = {{"tx_bytes_count", "tx.bytes"},
                    {"rx_bytes_count", "rx.bytes"},
                    {"tx_packets_count", "tx.packets"},
                    {"rx_packets_count", "rx.packets"}};
    std::vector<long long> before;
    for (const auto& c : counters)
        before.push_back(counter(c.counter));
    const BusReply reply = call(kMethod, "what a caller sends here does not matter");

    EXPECT_EQ(reply.text.rfind("{\"error\": 0, \"data\": [{", 0), 0U) << reply.text;
    ASSERT_EQ(ways_out(reply), "eth0 100");
    const json_t* element = json_array_get(reply.data(), 0);
    const json_t* status = json_object_get(element, "status");
    EXPECT_EQ(text(element, "display_name"), "Adapter 1");
    EXPECT_EQ(text(element, "interface_type"), "ethernet");
    EXPECT_EQ(text(status, "physical_loc"), "NAS Port 1");
    EXPECT_EQ(text(status, "ip4_type"), "static");
    EXPECT_EQ(number(status, "link_running"), 1);
    EXPECT_EQ(number(status, "vlan_id"), 0);
    EXPECT_EQ(addresses(status, "IPv4"), "192.168.1.10/255.255.255.0 10.9.0.5/255.255.0.0");
    EXPECT_EQ(addresses(status, "IPv6").rfind("2001:db8::10/ffff:ffff:ffff:fff0:: fe80::", 0), 0U)
        << addresses(status, "IPv6");
    for (std::size_t i = 0; i < before.size(); ++i) {
        const long long told = number(status, counters[i].member);
        EXPECT_GT(told, 0) << counters[i].member;
        EXPECT_GE(told, before[i]) << counters[i].member;
        EXPECT_LE(told, counter(counters[i].counter)) << counters[i].member;
    }
}

TEST_F(Gateways, DefaultRoutesAreTheCandidates) {
    const std::string second =
        "ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up;"
        "ip addr add 10.77.0.2/24 dev test1; ip -6 addr add 2001:db8:77::2/64 dev test1 nodad;";
    const std::string none = "ip route del default;";
    const struct {
        const char* name;
        std::string commands;
        const char* expected;
    } cases[] = {
        {"none", none, ""},
        {"lowest metric first", second + "ip route add default via 10.77.0.1 metric 50", "test1 50, eth0 100"},
        {"several next hops",
         second + none +
             "ip route add default metric 5 nexthop via 192.168.1.1 nexthop via 192.168.1.2 nexthop via 10.77.0.1",
         "eth0 5, test1 5"},
        {"without a gateway", second + none + "ip route add default dev test1", "test1 0"},
        {"other tables and route types do not count",
         second + none + "ip route add default via 10.77.0.1 table 30000; ip route add unreachable default metric 9",
         ""},
        {"IPv6 is told when IPv4 has none", second + none + "ip -6 route add default via 2001:db8:77::1 metric 30",
         "test1 30"},
        {"IPv6 is not told beside IPv4", second + "ip -6 route add default via 2001:db8:77::1 metric 30", "eth0 100"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        shell(c.commands);
        const BusReply reply = call(kMethod);
        EXPECT_EQ(reply.error(), 0) << reply.text;
        EXPECT_TRUE(json_is_array(reply.data())) << reply.text;
        EXPECT_EQ(ways_out(reply), c.expected);
        TearDown();
    }
}

TEST_F(Gateways, StateOfTheInterfaceShows) {
    const struct {
        const char *name, *commands, *ifname, *type, *ip4_type, *ip4;
        int running;
    } cases[] = {
        {"leased address",
         "ip addr flush dev eth0; ip addr add 192.168.1.10/24 valid_lft 1000 preferred_lft 1000 dev eth0;"
         "ip route add default via 192.168.1.1",
         "eth0", "ethernet", "dhcp", "192.168.1.10/255.255.255.0", 1},
        {"cable pulled",
         "nsenter -t $(cat /run/appliance/router.pid) -n ip link set wan0 down;"
         "timeout 5 sh -c 'until ip link show eth0 | grep -q NO-CARRIER; do sleep 0.05; done'",
         "eth0", "ethernet", "static", "192.168.1.10/255.255.255.0", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        shell(c.commands);
        const BusReply reply = call(kMethod);
        const json_t* element = json_array_get(reply.data(), 0);
        const json_t* status = json_object_get(element, "status");
        EXPECT_EQ(text(element, "ifname"), c.ifname) << reply.text;
        EXPECT_EQ(text(element, "interface_type"), c.type);
        EXPECT_EQ(text(status, "ip4_type"), c.ip4_type);
        EXPECT_EQ(addresses(status, "IPv4"), c.ip4);
        EXPECT_EQ(number(status, "link_running"), c.running);
        TearDown();
    }
}

}  // namespace
}  // namespace network::test
