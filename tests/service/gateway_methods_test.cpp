#include "service/gateway_info.h"

#include <regex>

#include "service_nas.h"

namespace harbex::test {
namespace {

using GatewayMethods = EdgeNas;

TEST_F(GatewayMethods, ChoiceOfTheGateway) {
    const auto candidate = [](const std::string& name, const std::string& metric, const std::string& type = "\"x\"") {
        return R"({"ifname": ")" + name + R"(", "interface_type": )" + type + R"(, "metric": )" + metric +
               R"(, "status": {}})";
    };
    const struct {
        std::string list;
        const char* chosen;
    } cases[] = {
        {candidate("a", "20") + "," + candidate("b", "10") + "," + candidate("c", "10"), "b"},
        {candidate("a", "2147483647") + "," + candidate("b", "4294967297"), "eth0"},
        {candidate("a", "1.0") + "," + candidate("c", "9"), "c"},
        {candidate("a", "1", "\"VPN\"") + "," + candidate("b", "2", "\"vpn\""), "b"},
        {candidate("a", "20") + R"(,{"ifname": "b", "interface_type": "x", "metric": 5},)" + candidate("c", "10"),
         "a"},
    };
    for (const auto& c : cases) {
        answer(kGateways, "[" + c.list + "]");
        EXPECT_EQ(bus_call(kDaemonService, "Get_rxtx_bytecount").text,
                  envelope(kSuccess, R"({")" + std::string(c.chosen) +
                                         R"(": {"rx_bytes_count": 0, )"
                                         R"("rx_packets_count": 0, "tx_bytes_count": 0, "tx_packets_count": 0}})"))
            << c.list;
    }
}

TEST_F(GatewayMethods, WholeReplies) {
    const std::string gateway =
        R"([{"ifname": "bond0", "display_name": "Trunk \u00fc", "interface_type": "vswitch", "metric": 9,)"
        R"( "status": {"link_running": 2, "vlan_id": 12, "display_name": "not this", "ip4_type": "dhcp",)"
        R"( "physical_loc": "Slot 1 Port 23 [LAN]", "IPv4": [{"ip": "10.0.0.5", "netmask": "255.0.0.0"},)"
        R"( {"ip": "10.9.9.9", "netmask": "255.255.0.0"}], "tx_bytes_count": 5000000000,)"
        R"( "rx_bytes_count": 6000000000, "tx_packets_count": 7, "rx_packets_count": 8}}])";
    answer(kGateways, gateway);
    EXPECT_EQ(
        call("Get_gateway_info", "x").reply,
        envelope(kSuccess,
                 R"({"ns": {"rx_bytes": 6000000000, "tx_bytes": 5000000000, "rx_rate": 0.0, "tx_rate": 0.0,)"
                 R"( "rx_packets_count": 8, "tx_packets_count": 7}, "gw_info": {"ip4_address": "10.0.0.5",)"
                 R"( "ip4_mask": "255.0.0.0", "ip4_type": "dhcp", "display_name": "Trunk ü",)"
                 R"( "physical_loc": "Slot 1 Port 23 [LAN]", "link_running": true, "interface_type": "vswitch",)"
                 R"( "vlan_id": 12}})"));
    EXPECT_EQ(call("Get_rxtx_bytecount").reply,
              envelope(kSuccess, R"({"bond0": {"rx_bytes_count": 6000000000, "rx_packets_count": 8, )"
                                 R"("tx_bytes_count": 5000000000, "tx_packets_count": 7}})"));
    EXPECT_EQ(call("Get_port_status").reply,
              envelope(kSuccess, R"([{"carrier_status": true, "port_name": "PORT23"}])"));
    EXPECT_EQ(manager().calls().back(), (ScriptedService<>::Call{kGateways, ""}));
}

// The record of a gateway that is up; `other` replaces members.
std::string record(const std::vector<std::pair<const char*, std::string>>& other = {}) {
    std::string text =
        R"({"PORT1": {"GROUP_ID": "auto", "ID": 1, "IFACE_STAT": 0, "IFACE_STAT_DESC": "Iface has a normal status.", )"
        R"("IFACE_TYPE": "ethernet", "IFNAME": "wan7", "LATITUDE": "25.033", "LONGITUDE": "121.565", "NCSI_STAT": 0, )"
        R"("NCSI_STAT_DESC": "NCSI query successfully.", "NH_STAT": 0, "NH_STAT_DESC": "Default gateway is normal.", )"
        R"("PORT_STAT": 0, "PORT_STAT_DESC": "Iface has a normal status.", "REAL_WAN_ADDR4": "203.0.113.77", )"
        R"("ROLE": "EDGE", "RX_RATE": "12.3457", "TUN_ADDR4": "10.8.0.21", "TUN_ADDR6": "", "TX_RATE": "8e+09", )"
        R"("VLAN_ID": 12, "VPN_TO_EDGES_STAT": 3, "VPN_TO_EDGES_STAT_DESC": "No member.", "VPN_TO_HUBS_STAT": 0, )"
        R"("VPN_TO_HUBS_STAT_DESC": "All Connected.", "WANIPD_STAT": 0, "WANIPD_STAT_DESC": "WAN IP query )"
        R"(successfully.", "WAN_ADDR4": "192.0.2.7", "WAN_ADDR6": "", "WAN_PREFIX4": "255.255.255.0", )"
        R"("WAN_PREFIX6": "128"}})";
    for (const auto& [name, value] : other)
        text = std::regex_replace(text, std::regex("(\"" + std::string(name) + "\": )[^,]*"), "$01" + value);
    return text;
}

TEST_F(GatewayMethods, PublicAddress) {
    set_setting(kCorvaneConf, "virtual_ip", "10.8.0.21");
    const Answer answer = call("Get_public_ip", "whatever");
    EXPECT_EQ(answer.reply, envelope(kSuccess, record()));
    std::string steps;
    for (const std::string& line : log_lines(answer.lines))
        if (!line.starts_with("DEBUG Response: ")) steps += line.substr(6) + "\n";
    EXPECT_EQ(steps,
              "bsh API: bsh NetworkService.api.get_currentGWinfo\ngateway_ifname: wan7\nvirtual_ip: 10.8.0.21\n"
              "ncsi_result: 0\nCreating bs_auto_io in get_geo_info\nbsh API: corvane_expressd.GetGeoInfo\n"
              "real_wan_ip: 203.0.113.77\nGetting LAN IP for interface: wan7, lan ip: 192.0.2.7\n"
              "Creating bs_auto_io in upload_to_corvane\n"
              "bsh API: bsh NetworkService.interfaces_monitor.get_info_interfaces\nInterface: wan7, "
              "RX Rate: 12.345680, TX Rate: 8000000000.000000, TX Bytes: 11, RX Bytes: 4294967297\n");
    EXPECT_EQ(manager().calls().back(), (ScriptedService<>::Call{kCounters, R"({"name_interface":"wan7"})"}));
    EXPECT_EQ(edge_calls(), "GetGeoInfo \n");

    expect_faults("corvane_expressd.GetGeoInfo", "Get_public_ip", "",
                  {{R"(body:{"error":0,"data":{"longitude":"1.5","public_ip":"a"}})", 0,
                    record({{"LATITUDE", "\"\""}, {"LONGITUDE", "\"\""}, {"REAL_WAN_ADDR4", "\"a\""}}),
                    "Failed to get latitude\nFailed to get longitude\nFailed to get latitude or longitude or "
                    "real_wan_ip\nFailed to get geo info"}});
    gateway_is("vswitch", 0);
    expect_call("Get_public_ip", "",
                {"bridge, link down", 0,
                 record({{"IFACE_STAT", "1"}, {"PORT_STAT", "1"}, {"IFACE_TYPE", quoted("bridge")}}), ""});
    set_setting(kCorvaneConf, "virtual_ip", "");
    (void)edge_calls();
    expect_call("Get_public_ip", "", {"empty", 1005, "Failed to get virtual_ip", "Failed to get virtual_ip"});
    EXPECT_EQ(edge_calls(), "") << "asked for nothing";
}

TEST_F(GatewayMethods, TunnelStatistics) {
    shell(R"(edge_state change '{"tunnels": {"router": {"hub-1": 2}, "supernode": {"super-1": 1}}}')");
    expect_call("Get_rxtx", "whatever",
                {"", 0,
                 R"({"interface": {"name": "wan7", "rx_bytes": 4294967297, "tx_bytes": 11, "rx_rate": 12.34568, )"
                 R"("tx_rate": 8000000000.0, "rx_packets_count": 4294967300, "tx_packets_count": 3}, )"
                 R"("tunnels": {"router": {"hub-1": 2}, "supernode": {"super-1": 1}}})",
                 ""});
    EXPECT_EQ(edge_calls(), "GetIpsecStatus \n");
    answer(kCounters, R"({"rx_rate": 1.0, "tx_rate": 1.0, "rx_bytes": 1})");
    expect_call("Get_rxtx", "", {"", 1013, "", "Failed to get rx_rate, tx_bytes, tx_rate, rx_bytes"});
    EXPECT_EQ(edge_calls(), "") << "asked for nothing";
}

TEST_F(GatewayMethods, NetworkManagerThatFails) {
    const Row rows[] = {
        {"", 1004, "", "Failed to read response\nCannot get gateway info"},
        {R"({"error": 5, "error_message": "%s%n"})", 1004, "", "Cannot get gateway info"},
        {R"({"error": 0, "data": {}})", 1003, "", "Data is not an array\nCannot get gateway info"},
    };
    for (const Row& row : rows) {
        manager().answer(kGateways, row.given);
        expect_call("Get_gateway_info", "", row);
    }
    expect_call("Get_public_ip", "", {"", 1003, "", "Data is not an array\nFailed to get gateway ifname"});
    manager().stall(kGateways);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bus_call(kDaemonService, "Get_gateway_info").text, envelope(1004, ""));
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(waited > std::chrono::seconds(9) && waited < std::chrono::seconds(50)) << "ten, not sixty";
}

}  // namespace
}  // namespace harbex::test
