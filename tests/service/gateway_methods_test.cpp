#include "service/gateway_info.h"

#include "edge_nas.h"

namespace harbex::test {
namespace {

std::string candidates(const std::string& list) {
    return R"({"error": 0, "data": [)" + list + "]}";
}

// A candidate with nothing but what the choice looks at.
std::string candidate(const std::string& name, const std::string& metric) {
    return R"({"ifname": ")" + name + R"(", "interface_type": "ethernet", "metric": )" + metric +
           R"(, "status": {"tx_bytes_count": 1}})";
}

using GatewayMethods = EdgeNas;

TEST_F(GatewayMethods, ChoiceOfTheGateway) {
    const struct {
        const char* name;
        std::string list;
        const char* chosen;
    } cases[] = {
        {"the first of equals", candidate("a", "20") + "," + candidate("b", "10") + "," + candidate("c", "10"), "b"},
        {"negative metrics count", candidate("a", "0") + "," + candidate("b", "-5000000000"), "b"},
        {"the worst metric never", candidate("a", "2147483647"), "eth0"},
        {"nor one beyond 32 bits", candidate("a", "4294967297"), "eth0"},
        {"just below the worst", candidate("a", "2147483646"), "a"},
        {"metrics that are no integers",
         candidate("a", "1.0") + "," + candidate("b", "\"1\"") + "," + candidate("c", "true") + "," +
             candidate("d", "9"),
         "d"},
        {"VPN never, exactly so written",
         R"({"ifname": "a", "interface_type": "VPN", "metric": 1, "status": {}},)"
         R"({"ifname": "b", "interface_type": "vpn", "metric": 2, "status": {}})",
         "b"},
        {"no type, or one that is no text",
         R"({"ifname": "a", "metric": 1, "status": {}},)"
         R"({"ifname": "b", "interface_type": 3, "metric": 1, "status": {}},)" +
             candidate("c", "9"),
         "c"},
        {"no status: the bar is lower all the same",
         candidate("a", "20") + R"(,{"ifname": "b", "interface_type": "x", "metric": 5},)" + candidate("c", "10"),
         "a"},
        {"without a name", R"({"interface_type": "x", "metric": 5, "status": {"tx_bytes_count": 1}})", "eth0"},
        {"elements that are no objects", R"(null, 5, "x", [], )" + candidate("a", "7"), "a"},
    };
    for (const auto& c : cases) {
        manager().answer(kGatewayQuery, candidates(c.list));
        const BusReply reply = bus_call(kDaemonService, "Get_rxtx_bytecount");
        ASSERT_EQ(json_object_size(reply.data()), 1U) << c.name << ": " << reply.text;
        EXPECT_STREQ(json_object_iter_key(json_object_iter(const_cast<json_t*>(reply.data()))), c.chosen) << c.name;
    }
}

TEST_F(GatewayMethods, WholeReplies) {
    const std::string full =
        R"({"ifname": "bond0", "display_name": "Trunk \u00fc", "interface_type": "vswitch", "metric": 9,)"
        R"( "status": {"link_running": 2, "vlan_id": 12, "display_name": "not this", "ip4_type": "dhcp",)"
        R"( "physical_loc": "Slot 1 Port 23 [LAN]", "IPv4": [{"ip": "10.0.0.5", "netmask": "255.0.0.0"},)"
        R"( {"ip": "10.9.9.9", "netmask": "255.255.0.0"}], "IPv6": [{"ip": "fe80::1", "netmask": "64"}],)"
        R"( "tx_bytes_count": 5000000000, "rx_bytes_count": 6000000000, "tx_packets_count": 7,)"
        R"( "rx_packets_count": 8}})";
    // Better, but bare: nothing of the first may remain.
    const std::string bare =
        R"({"ifname": "eth3", "interface_type": "", "metric": 1, "status": {"link_running": true, "vlan_id": "1",)"
        R"( "IPv4": [], "rx_bytes_count": 1.5}})";
    const struct {
        const char* name;
        std::string list;
        const char *gateway_info, *bytecount, *port_status;
    } cases[] = {
        {"everything known", full,
         R"({"ns": {"rx_bytes": 6000000000, "tx_bytes": 5000000000, "rx_rate": 0.0, "tx_rate": 0.0,)"
         R"( "rx_packets_count": 8, "tx_packets_count": 7}, "gw_info": {"ip4_address": "10.0.0.5",)"
         R"( "ip4_mask": "255.0.0.0", "ip4_type": "dhcp", "display_name": "Trunk ü",)"
         R"( "physical_loc": "Slot 1 Port 23 [LAN]", "link_running": true, "interface_type": "vswitch",)"
         R"( "vlan_id": 12}})",
         R"({"bond0": {"rx_bytes_count": 6000000000, "rx_packets_count": 8, "tx_bytes_count": 5000000000,)"
         R"( "tx_packets_count": 7}})",
         R"([{"carrier_status": true, "port_name": "PORT23"}])"},
        {"next to nothing known", full + "," + bare,
         R"({"ns": {"rx_bytes": 0, "tx_bytes": 0, "rx_rate": 0.0, "tx_rate": 0.0, "rx_packets_count": 0,)"
         R"( "tx_packets_count": 0}, "gw_info": {"ip4_address": "", "ip4_mask": "", "ip4_type": "",)"
         R"( "display_name": "", "physical_loc": "", "link_running": false, "interface_type": "", "vlan_id": 0}})",
         R"({"eth3": {"rx_bytes_count": 0, "rx_packets_count": 0, "tx_bytes_count": 0, "tx_packets_count": 0}})",
         R"([{"carrier_status": false, "port_name": "PORT"}])"},
    };
    for (const auto& c : cases) {
        manager().answer(kGatewayQuery, candidates(c.list));
        EXPECT_EQ(bus_call(kDaemonService, "Get_gateway_info", "ignored").text, success(c.gateway_info)) << c.name;
        EXPECT_EQ(bus_call(kDaemonService, "Get_rxtx_bytecount").text, success(c.bytecount)) << c.name;
        EXPECT_EQ(bus_call(kDaemonService, "Get_port_status").text, success(c.port_status)) << c.name;
    }
    for (const ScriptedService<>::Call& call : manager().calls())
        EXPECT_EQ(call, (decltype(call){kGatewayQuery, ""}));
}

TEST_F(GatewayMethods, PortLabels) {
    for (const auto& [location, label] : std::vector<std::pair<const char*, const char*>>{
             {"5", "5"}, {"Adapter 2 Port 10", "10"}, {"eth1/lan", "1"}, {"on board", "on board"}, {"7a8b", "8"}}) {
        manager().answer(kGatewayQuery, candidates(R"({"ifname": "a", "interface_type": "x", "metric": 1, "status":)"
                                                   R"( {"physical_loc": ")" +
                                                   std::string(location) + R"("}})"));
        EXPECT_EQ(bus_call(kDaemonService, "Get_port_status").text,
                  success(R"([{"carrier_status": false, "port_name": "PORT)" + std::string(label) + R"("}])"));
    }
}

TEST_F(GatewayMethods, MangledRepliesOfTheNetworkManager) {
    const std::string last = "Cannot get gateway info";
    const struct {
        const char* answer;  // null: hangs up
        int code;
        std::vector<std::string> errors;
    } cases[] = {
        {nullptr, 1004, {"Failed to execute NetworkService.api.get_currentGWinfo", last}},
        {"", 1004, {"Failed to read response", last}},
        {"<html>", 1004, {last}},
        {R"({"error": 5, "error_message": "%s%n"})", 1004, {last}},
        {R"({"error": 0})", 1003, {"Data is not an array", last}},
    };
    for (const char* method : {"Get_gateway_info", "Get_rxtx_bytecount", "Get_port_status"}) {
        for (const auto& c : cases) {
            c.answer == nullptr ? manager().hang_up(kGatewayQuery) : manager().answer(kGatewayQuery, c.answer);
            expect_call(c.answer == nullptr ? "hung up" : c.answer, method, "", refusal(c.code, ""), c.errors);
        }
    }
}

TEST_F(GatewayMethods, NetworkManagerThatStalls) {
    manager().stall(kGatewayQuery);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bus_call(kDaemonService, "Get_gateway_info").text, refusal(1004, ""));
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::seconds(9));
    EXPECT_LT(waited, std::chrono::seconds(50)) << "not the time-out of the other calls";
}

}  // namespace
}  // namespace harbex::test
