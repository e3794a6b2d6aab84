#include "service/gateway_methods.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "service/logger.h"
#include "support/daemon.h"
#include "support/scripted_service.h"

namespace harbex::test {
namespace {

constexpr const char* kQuery = "api.get_currentGWinfo";
constexpr const char* kCounters = "interfaces_monitor.get_info_interfaces";

std::string success(const std::string& data) {
    return R"({"data": )" + data + R"(, "error": 0, "meta": {"version": "1.0"}})";
}

std::string failure(int code) {
    return R"({"data": "", "error": )" + std::to_string(code) +
           R"(, "error_message": "", "meta": {"version": "1.0"}})";
}

std::string candidates(const std::string& list) {
    return R"({"error": 0, "data": [)" + list + "]}";
}

// A candidate with nothing but what the choice looks at; `more` is added to it.
std::string candidate(const std::string& name, const std::string& metric, const std::string& more = "") {
    return R"({"ifname": ")" + name + R"(", "interface_type": "ethernet", "metric": )" + metric +
           R"(, "status": {"tx_bytes_count": 1})" + more + "}";
}

class GatewayMethods : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(daemon_.serving() && log_.settle()); }

    Daemon daemon_;
    ScriptedService<> manager_{"NetworkService"};
    ServiceLogReader log_;
};

TEST_F(GatewayMethods, ChoiceOfTheGateway) {
    const struct {
        const char* name;
        std::string list;
        const char* chosen;
    } cases[] = {
        {"the lowest metric", candidate("a", "20") + "," + candidate("b", "10") + "," + candidate("c", "30"), "b"},
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
        {"status that is no object", R"({"ifname": "a", "interface_type": "x", "metric": 5, "status": []})", "eth0"},
        {"without a name", R"({"interface_type": "x", "metric": 5, "status": {"tx_bytes_count": 1}})", "eth0"},
        {"elements that are no objects", R"(null, 5, "x", [], )" + candidate("a", "7"), "a"},
        {"nobody", "", "eth0"},
    };
    for (const auto& c : cases) {
        manager_.answer(kQuery, candidates(c.list));
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
        manager_.answer(kQuery, candidates(c.list));
        EXPECT_EQ(bus_call(kDaemonService, "Get_gateway_info", "ignored").text, success(c.gateway_info)) << c.name;
        EXPECT_EQ(bus_call(kDaemonService, "Get_rxtx_bytecount").text, success(c.bytecount)) << c.name;
        EXPECT_EQ(bus_call(kDaemonService, "Get_port_status").text, success(c.port_status)) << c.name;
    }
    for (const ScriptedService<>::Call& call : manager_.calls())
        EXPECT_EQ(call, (decltype(call){kQuery, ""}));
}

TEST_F(GatewayMethods, PortLabels) {
    for (const auto& [location, label] : std::vector<std::pair<const char*, const char*>>{
             {"5", "5"}, {"Adapter 2 Port 10", "10"}, {"eth1/lan", "1"}, {"on board", "on board"}, {"7a8b", "8"}}) {
        manager_.answer(kQuery, candidates(R"({"ifname": "a", "interface_type": "x", "metric": 1, "status":)"
                                           R"( {"physical_loc": ")" +
                                           std::string(location) + R"("}})"));
        EXPECT_EQ(bus_call(kDaemonService, "Get_port_status").text,
                  success(R"([{"carrier_status": false, "port_name": "PORT)" + std::string(label) + R"("}])"));
    }
}

TEST_F(GatewayMethods, MangledRepliesOfTheNetworkManager) {
    const struct {
        const char* name;
        const char* answer;  // null: hangs up
        int code;
        const char* line;  // in the service log; "" for none
    } cases[] = {
        {"hung up", nullptr, 1004, "Failed to execute NetworkService.api.get_currentGWinfo"},
        {"no bytes", "", 1004, "Failed to read response"},
        {"no JSON", "<html>", 1004, ""},
        {"cut off", R"({"error": 0, "data": [)", 1004, ""},
        {"no object", "[]", 1004, ""},
        {"no error member", R"({"data": []})", 1004, ""},
        {"an error", R"({"error": 5, "error_message": "%s%n"})", 1004, ""},
        {"no data", R"({"error": 0})", 1003, "Data is not an array"},
        {"data of another kind", R"({"error": 0, "data": {"ifname": "eth0"}})", 1003, "Data is not an array"},
    };
    const std::vector<std::string> methods = {"Get_gateway_info", "Get_rxtx_bytecount", "Get_port_status"};
    for (const std::string& method : methods) {
        for (const auto& c : cases) {
            c.answer == nullptr ? manager_.hang_up(kQuery) : manager_.answer(kQuery, c.answer);
            EXPECT_EQ(bus_call(kDaemonService, method).text, failure(c.code)) << method << ", " << c.name;

            const std::string last = "ERROR method: " + method + " Callback failed, Ret: " + std::to_string(c.code);
            std::vector<std::string> errors;
            for (const std::string& line : log_.lines_until(last)) {
                if (line.starts_with("ERROR ")) errors.push_back(line);
            }
            std::vector<std::string> expected = {"ERROR Cannot get gateway info", last};
            if (*c.line != '\0') expected.insert(expected.begin(), std::string("ERROR ") + c.line);
            EXPECT_EQ(errors, expected) << method << ", " << c.name;
        }
    }
    // An "error" that is no integer counts as none.
    manager_.answer(kQuery, R"({"error": "5", "data": []})");
    EXPECT_EQ(bus_call(kDaemonService, "Get_port_status").error(), 0);
}

TEST_F(GatewayMethods, NetworkManagerThatStalls) {
    manager_.stall(kQuery);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bus_call(kDaemonService, "Get_gateway_info").text, failure(1004));
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::seconds(9));
    EXPECT_LT(waited, std::chrono::seconds(50)) << "not the time-out of the other calls";
}

// The query that other bus methods build on.
TEST(InterfaceCounters, RatesAndFailures) {
    ScriptedService<> manager("NetworkService");
    const std::vector<std::string> announced = {
        "DEBUG Creating bs_auto_io in upload_to_corvane",
        "DEBUG bsh API: bsh NetworkService.interfaces_monitor.get_info_interfaces",
    };
    const struct {
        const char* name;
        const char* answer;  // null: hangs up
        int code;
        const char* line;  // the last of the log
    } cases[] = {
        {"reals",
         R"({"error": 0, "data": {"rx_rate": 250.5, "tx_rate": 125.0, "rx_bytes": 5000000000, "tx_bytes": 2}})", 0,
         "DEBUG Interface: eth9, RX Rate: 2.004000, TX Rate: 1.000000, TX Bytes: 2, RX Bytes: 5000000000"},
        {"integers", R"({"error": 0, "data": {"rx_rate": 1000, "tx_rate": 0, "rx_bytes": 1, "tx_bytes": 2}})", 0,
         "DEBUG Interface: eth9, RX Rate: 8.000000, TX Rate: 0.000000, TX Bytes: 2, RX Bytes: 1"},
        {"hung up", nullptr, 1004, "ERROR Fail to execute NetworkService.interfaces_monitor.get_info_interfaces"},
        {"no bytes", "", 1004, "ERROR Failed to read response"},
        {"an error", R"({"error": 1})", 1004, "ERROR Failed to check bsh response"},
        {"no data", R"({"error": 0})", 1004, "ERROR Failed to get data"},
        {"a member short", R"({"error": 0, "data": {"rx_rate": 1.0, "tx_rate": 1.0, "rx_bytes": 1}})", 1004,
         "ERROR Failed to get rx_rate, tx_bytes, tx_rate, rx_bytes"},
    };
    for (const auto& c : cases) {
        c.answer == nullptr ? manager.hang_up(kCounters) : manager.answer(kCounters, c.answer);
        std::ostringstream text;
        service::NetworkStat stat{.tx_packets_count = 11, .rx_packets_count = 12};
        service::Logger::out = &text;
        EXPECT_EQ(service::get_interface_rxtx_bytecount("eth9", stat), c.code) << c.name;
        service::Logger::out = nullptr;

        std::vector<std::string> expected = announced;
        if (c.answer != nullptr && *c.answer != '\0') {
            const std::string answer = c.answer;
            expected.push_back("DEBUG Response: " + answer + " " + std::to_string(answer.size()));
        }
        expected.push_back(c.line);
        EXPECT_EQ(log_lines(text.str()), expected) << c.name;
        EXPECT_EQ(stat.tx_packets_count, 11) << c.name;
        EXPECT_EQ(stat.rx_packets_count, 12) << c.name;
    }
    EXPECT_EQ(manager.calls().front().body, R"({"name_interface":"eth9"})");
}

}  // namespace
}  // namespace harbex::test
