#include "service/public_address.h"

#include "edge_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "Get_public_ip";

// The record; what varies is named.
struct Record {
    std::string group_id = "grp-east";
    std::string stat = "0";
    std::string type = "ethernet";
    std::string latitude = "25.033";
    std::string longitude = "121.565";
    std::string public_ip = "203.0.113.77";
    std::string rx_rate = "12.3457";
    std::string tx_rate = "8e+09";

    std::string text() const {
        return success(
            R"({"PORT1": {"GROUP_ID": ")" + group_id + R"(", "ID": 1, "IFACE_STAT": )" + stat +
            R"(, "IFACE_STAT_DESC": "Iface has a normal status.", "IFACE_TYPE": ")" + type +
            R"(", "IFNAME": "wan7", "LATITUDE": ")" + latitude + R"(", "LONGITUDE": ")" + longitude +
            R"(", "NCSI_STAT": 0, "NCSI_STAT_DESC": "NCSI query successfully.", "NH_STAT": 0, )"
            R"("NH_STAT_DESC": "Default gateway is normal.", "PORT_STAT": )" +
            stat + R"(, "PORT_STAT_DESC": "Iface has a normal status.", "REAL_WAN_ADDR4": ")" + public_ip +
            R"(", "ROLE": "EDGE", "RX_RATE": ")" + rx_rate +
            R"(", "TUN_ADDR4": "10.8.0.21", "TUN_ADDR6": "", )"
            R"("TX_RATE": ")" +
            tx_rate +
            R"(", "VLAN_ID": 12, "VPN_TO_EDGES_STAT": 3, "VPN_TO_EDGES_STAT_DESC": "No member.", )"
            R"("VPN_TO_HUBS_STAT": 0, "VPN_TO_HUBS_STAT_DESC": "All Connected.", "WANIPD_STAT": 0, )"
            R"("WANIPD_STAT_DESC": "WAN IP query successfully.", "WAN_ADDR4": "192.0.2.7", "WAN_ADDR6": "", )"
            R"("WAN_PREFIX4": "255.255.255.0", "WAN_PREFIX6": "128"}})");
    }
};

class PublicAddress : public EdgeNas {
protected:
    void SetUp() override {
        EdgeNas::SetUp();
        set_setting(kCorvaneConf, "virtual_ip", "10.8.0.21");
        set_setting(kCorvaneConf, "CORVANE_REGION_ID", "grp-east");
    }
};

TEST_F(PublicAddress, WholeRecord) {
    const Outcome outcome = call(kMethod, "whatever");
    EXPECT_EQ(outcome.reply, Record().text());
    std::vector<std::string> steps = outcome.lines;
    std::erase_if(steps, [](const std::string& line) { return line.starts_with("DEBUG Response: "); });
    EXPECT_EQ(steps, (std::vector<std::string>{
                         "DEBUG bsh API: bsh NetworkService.api.get_currentGWinfo",
                         "DEBUG gateway_ifname: wan7",
                         "DEBUG virtual_ip: 10.8.0.21",
                         "DEBUG ncsi_result: 0",
                         "DEBUG Creating bs_auto_io in get_geo_info",
                         "DEBUG bsh API: corvane_expressd.GetGeoInfo",
                         "DEBUG real_wan_ip: 203.0.113.77",
                         "DEBUG Getting LAN IP for interface: wan7, lan ip: 192.0.2.7",
                         "DEBUG Creating bs_auto_io in upload_to_corvane",
                         "DEBUG bsh API: bsh NetworkService.interfaces_monitor.get_info_interfaces",
                         "DEBUG Interface: wan7, RX Rate: 12.345680, TX Rate: 8000000000.000000, TX Bytes: 11, "
                         "RX Bytes: 4294967297",
                     }));
    EXPECT_EQ(manager().calls().back(),
              (ScriptedService<>::Call{"interfaces_monitor.get_info_interfaces", R"({"name_interface":"wan7"})"}));
    EXPECT_EQ(edge_calls(), std::vector<std::string>{"GetGeoInfo "});
}

TEST_F(PublicAddress, RecordFollowsTheInterface) {
    gateway_is("vswitch", 0);
    expect_call("bridge, link down", kMethod, "", Record{.stat = "1", .type = "bridge"}.text(), {});
    gateway_is("vswitch0", 1);
    expect_call("exact match only", kMethod, "", Record{.type = "vswitch0"}.text(), {});
}

TEST_F(PublicAddress, PositionIsTakenAsFarAsItIsKnown) {
    const std::string empty = "Failed to get latitude or longitude or real_wan_ip";
    const std::string last = "Failed to get geo info";
    const std::string no_latitude = "Failed to get latitude";
    const std::string no_longitude = "Failed to get longitude";
    const std::string no_address = "Failed to get real_wan_ip";
    const Record nothing{.latitude = "", .longitude = "", .public_ip = ""};
    const struct {
        const char* name;
        const char* fault;
        Record record;
        std::vector<std::string> errors;
    } cases[] = {
        {"whole numbers",
         R"(body:{"error":0,"data":{"latitude":25,"longitude":-121.0,"public_ip":"a"}})",
         {.latitude = "25", .longitude = "-121", .public_ip = "a"},
         {}},
        {"hung up", "close", nothing, {"Failed to execute corvane_expressd.GetGeoInfo", last}},
        {"empty", "body:", nothing, {"Failed to read response", last}},
        {"refused", R"(body:{"error":2,"data":"position unknown"})", nothing, {"Failed to check bsh response", last}},
        {"no data", R"(body:{"error":0})", nothing, {"Failed to get data", last}},
        {"no position",
         R"(body:{"error":0,"data":{"longitude":"1.5","public_ip":"a"}})",
         {.latitude = "", .longitude = "", .public_ip = "a"},
         {no_latitude, no_longitude, empty, last}},
        {"address as a number",
         R"(body:{"error":0,"data":{"latitude":1.5,"longitude":2.5,"public_ip":7}})",
         {.latitude = "1.5", .longitude = "2.5", .public_ip = ""},
         {no_address, empty, last}},
        {"empty address",
         R"(body:{"error":0,"data":{"latitude":1.5,"longitude":2.5,"public_ip":""}})",
         {.latitude = "1.5", .longitude = "2.5", .public_ip = ""},
         {empty, last}},
    };
    for (const auto& c : cases) {
        const Fault fault("corvane_expressd.GetGeoInfo", c.fault);
        expect_call(c.name, kMethod, "", c.record.text(), c.errors);
    }
}

TEST_F(PublicAddress, OptionalPartsThatFail) {
    manager().hang_up(kCounterQuery);
    expect_call("rates", kMethod, "", Record{.rx_rate = "0", .tx_rate = "0"}.text(),
                {"Fail to execute NetworkService.interfaces_monitor.get_info_interfaces", "Failed to get "});
    counters_are(kCounters);
    const FailingSetting tool("getcfg", "CORVANE_REGION_ID");
    expect_call("region", kMethod, "", Record{.group_id = ""}.text(), {"Cannot get region ID"});
}

TEST_F(PublicAddress, RequiredPartsThatFail) {
    set_setting(kCorvaneConf, "virtual_ip", "\xff");
    expect_call("no text for a reply", kMethod, "", kNoReply, {});
    (void)edge_calls();
    set_setting(kCorvaneConf, "virtual_ip", "");
    expect_call("empty", kMethod, "", refusal(1005, "Failed to get virtual_ip"), {"Failed to get virtual_ip"});
    manager().answer(kGatewayQuery, R"({"error": 0, "data": {}})");
    expect_call("no candidates", kMethod, "", refusal(1003, ""),
                {"Data is not an array", "Failed to get gateway ifname"});
    EXPECT_EQ(edge_calls(), std::vector<std::string>()) << "asked for nothing";
}

}  // namespace
}  // namespace harbex::test
