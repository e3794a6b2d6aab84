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

class Gateways : public Manager {};

TEST_F(Gateways, ElementTellsTheKernelsFigures) {
    shell("ip -6 addr add 2001:db8::10/60 dev eth0 nodad; ip addr add 10.9.0.5/16 dev eth0");
    send_through_eth0(5);
    const std::string counters[] = {"tx.bytes", "rx.bytes", "tx.packets", "rx.packets"};
    std::vector<long long> before;
    for (const std::string& name : counters)
        before.push_back(counter(name));
    const BusReply reply = call(kMethod, "what a caller sends here does not matter");

    const std::string known =
        R"({"error": 0, "data": [{"ifname": "eth0", "display_name": "Adapter 1", "interface_type": "ethernet", )"
        R"("metric": 100, "status": {"link_running": 1, "vlan_id": 0, "display_name": "Adapter 1", )"
        R"("ip4_type": "static", "physical_loc": "NAS Port 1", )"
        R"("IPv4": [{"ip": "192.168.1.10", "netmask": "255.255.255.0"}, {"ip": "10.9.0.5", "netmask": "255.255.0.0"}], )"
        R"("IPv6": [{"ip": "2001:db8::10", "netmask": "ffff:ffff:ffff:fff0::"}, {"ip": "fe80::)";
    EXPECT_EQ(reply.text.substr(0, known.size()), known);
    ASSERT_EQ(ways_out(reply), "eth0 100");
    const json_t* status = json_object_get(json_array_get(reply.data(), 0), "status");
    for (std::size_t i = 0; i < before.size(); ++i) {
        const std::string name = counters[i];
        const long long told = number(status, (name.substr(0, 2) + "_" + name.substr(3) + "_count").c_str());
        EXPECT_GT(told, 0) << name;
        EXPECT_GE(told, before[i]) << name;
        EXPECT_LE(told, counter(name)) << name;
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
        const char *commands, *ip4_type;
        int running;
    } cases[] = {
        {"ip addr flush dev eth0; ip addr add 192.168.1.10/24 valid_lft 1000 preferred_lft 1000 dev eth0;"
         "ip route add default via 192.168.1.1",
         "dhcp", 1},
        {"nsenter -t $(cat /run/appliance/router.pid) -n ip link set wan0 down;"
         "timeout 5 sh -c 'until ip link show eth0 | grep -q NO-CARRIER; do sleep 0.05; done'",
         "static", 0},
    };
    for (const auto& c : cases) {
        shell(c.commands);
        const BusReply reply = call(kMethod);
        const json_t* status = json_object_get(json_array_get(reply.data(), 0), "status");
        EXPECT_EQ(text(status, "ip4_type"), c.ip4_type) << reply.text;
        EXPECT_EQ(number(status, "link_running"), c.running) << reply.text;
        TearDown();
    }
}

}  // namespace
}  // namespace network::test
