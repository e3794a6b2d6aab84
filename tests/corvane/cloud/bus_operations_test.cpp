// Every operation that asks a peer on the bus once.
#include <chrono>

#include "common/settings_files.h"
#include "corvane/cloud/account_token.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/supernode_usage.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "corvane/device/internet_check.h"
#include "support/rows.h"

namespace harbex::test {
namespace {

constexpr const char* kAgentFile = "/opt/harbex/etc/cloudagent/cloudagent.cfg";

Outcome hub_info() {
    std::string texts[] = {"a", "b", "c", "d"};
    const int result = corvane::bsh_get_hubinfo(texts[0], texts[1], texts[2], texts[3]);
    return {result, texts[0] + "," + texts[1] + "," + texts[2] + "," + texts[3]};
}
Outcome ipsec_status() {
    int router = 7;
    int supernode = 8;
    const int result = corvane::bsh_get_ipsec_status(router, supernode);
    return {result, std::to_string(router) + "," + std::to_string(supernode)};
}
template <auto Operation>
Outcome run() {
    if constexpr (requires(std::string & text) { Operation(text); }) {
        return on_text(Operation);
    } else if constexpr (requires(JsonValue & document) { Operation(document); }) {
        return on_document(Operation);
    } else {
        return {Operation(), ""};
    }
}
template <auto Reader>
Outcome value_of() {
    return {0, Reader()};
}
constexpr BusOperation kInternet{"api.check_access_internet", R"({"ifname":"eth0"})",
                                 run<[] { return corvane::bsh_check_access_internet("eth0"); }>};
constexpr BusOperation kStoredIdsToken{"Get_corvanetoken", R"({"orgId":"o-2"})",
                                       run<corvane::get_corvanetoken_wrapper>};

const std::string kRefused = R"({"error":5,"error_message":"x","data":[]})";
const std::string kRefusal = "bsh response error 5, msg = x";

TEST(BusOperations, OfTheEdgeDaemon) {
    write_text(kAgentFile, "DEV_TOKEN=\"t-1\"\n");
    ScriptedService<> daemon("corvane_expressd");
    expect_replies(daemon, {"GetCloudStatus", "", run<corvane::bsh_get_cloud_status>},
                   {{"", 0, "", "Failed to read bsh output"}, {R"({"error":5,"data":-3})", -3, "", ""}});
    expect_replies(daemon, {"GetHubInfo", R"({"bdevice_token":"t-1"})", hub_info},
                   {{R"({"data":"{"})", 60, "a,b,c,d", "Failed to parse inner data JSON: " + parser_text("{")},
                    {R"({"error":5,"data":"{\"router_region\":{\"device_name\":1,\"public_ip\":\"\"},)"
                     R"(\"supernode_region\":{\"device_name\":\"S\",\"public_ip\":\"5.6.7.8\"}}"})",
                     0, "a,,S,5.6.7.8", ""}});
    expect_replies(daemon, {"GetIpsecStatus", "", ipsec_status},
                   {{kHungUp, 60, "7,8", "Failed to call corvane_expressd.GetIPSecStatus"},
                    {R"({"error":5,"data":{"router":{"a":2},"supernode":{"a":2,"b":"2"}}})", 0, "1,2", ""}});
    expect_replies(
        daemon, {"GetSupernodeRemaining", "", run<corvane::bsh_get_supernode_remaining>},
        {{kRefused, 60, kKept, kRefusal + "\nFailed to check GetSupernodeRemaining response"},
         {R"({"error":0,"data":{"remainingThroughput":1,"renewalDate":2,"throughputCapacity":3,"lastBillingDate":1.0}})",
          49, kKept,
          "GetSupernodeRemaining output missing 'remainingThroughput', 'renewalDate', 'throughputCapacity' or "
          "'lastBillingDate' integer"},
         {R"({"error":0,"data":{"remainingThroughput":5000000000,"renewalDate":2,"throughputCapacity":-3,)"
          R"("lastBillingDate":4}})",
          0, R"({"expired_date":2,"kept":1,"last_billing_date":4,"remaining_usage":5000000000,"total_usage":-3})",
          ""}});
    const std::vector<Row> lists = {{R"({"error":0,"data":[{"a":"b"},1]})", 0, R"([{"a":"b"},1])", ""}};
    expect_replies(daemon, {"GetSupernodeDevices", "", run<corvane::bsh_get_supernode_devices>}, lists);
    expect_replies(
        daemon, {"SupernodeRecentBillingDailyTraffic", "", run<corvane::bsh_supernode_recent_billing_daily_traffic>},
        lists);
    expect_replies(daemon, {"GetDeviceToken", "", run<corvane::bsh_get_device_token>},
                   {{kRefused, 60, "before", kRefusal}, {R"({"error":0,"data":"t"})", 0, "t", ""}});
    write_text(kAgentFile, "DEV_TOKEN = \"\"a\"b\"\"\"\n");
    EXPECT_EQ("0 a\"b", on_text(corvane::get_bdevice_token).text());
}

TEST(BusOperations, OfTheNetworkManager) {
    ScriptedService<> manager("NetworkService");
    const std::pair<Outcome (*)(), const char*> readers[] = {{value_of<corvane::get_gateway_ip>, "10.0.0.9"},
                                                             {value_of<corvane::get_gateway_interface_name>, "tun9"},
                                                             {value_of<corvane::get_gateway_display_name>, "Out"}};
    for (const auto& [reader, value] : readers) {
        expect_replies(manager, {"api.get_currentGWinfo", "", reader},
                       {{R"({"data":[{"ifname":"tun9","interface_type":"VPN","status":{"display_name":"Out","IPv4":)"
                         R"([{"ip":"10.0.0.9"},{"ip":"10.0.0.8"}]}},{"ifname":"eth0"}],"error":5})",
                         0, value, ""}});
    }
    manager.answer("api.get_currentGWinfo", R"({"data":[]})");
    EXPECT_EQ("", corvane::get_gateway_ip());
    const std::string check = "NetworkService.api.check_access_internet";
    expect_replies(manager, kInternet,
                   {{R"({"error":0})", 0, "", ""},
                    {R"({"error":1,"data":""})", 48, "", "bsh " + check + " failed with error code: 1"},
                    {"", 46, "", "Failed to read response"},
                    {kHungUp, 60, "", "Fail to execute " + check}});
    manager.answer(kInternet.method, R"({"error":-2})");  // still running
    const auto start = std::chrono::steady_clock::now();
    const size_t calls = manager.calls().size();
    EXPECT_EQ(48, kInternet.run().code);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(calls + 10, manager.calls().size());
}

TEST(BusOperations, OfTheNetworkDaemon) {
    ScriptedService<> daemon("harbex_network_service");
    expect_replies(
        daemon, {"Get_cloudtoken", "", run<corvane::get_cloudtoken>},
        {{R"({"error": 0, "data": "t"})", 0, "t", ""},
         {R"({"error": 1010, "data": "t"})", 60, "before", "Get_cloudtoken responded with error code: 1010"}});
    expect_replies(daemon,
                   {"Save_cloudtoken", "{\"oauth_response_encoded\":\"a\\\"b\\n\"}",
                    run<[] { return corvane::save_vellum_token("a\"b\n"); }>},
                   {{R"({"error": 1014})", 0, "", ""},
                    {kHungUp, 60, "", "Failed to call bsh harbex_network_service.Save_cloudtoken"}});
    expect_replies(daemon,
                   {"Get_corvanetoken", "{\"orgId\":\"o \\\"1\\\"/ü\"}",
                    run<[](std::string& token) { return corvane::get_corvanetoken("o \"1\"/ü", token); }>},
                   {{R"({"data": "t", "error": 0, "meta": {"version": "1.0"}})", 0, "t", ""},
                    {kRefused, 60, "before", kRefusal + "\nFailed to check corvane token response"}});
    write_text(system::kCorvaneConf, "[Join Corvane]\nCORVANE_ORG_ID = o-2\n");
    expect_replies(daemon, kStoredIdsToken, {{R"({"data": "t", "error": 0})", 0, "t", ""}});
    write_text(system::kCorvaneConf, "[Join Corvane]\nCORVANE_ORG_ID =  \n");
    const size_t calls = daemon.calls().size();
    EXPECT_EQ("60 before", kStoredIdsToken.run().text());
    EXPECT_EQ(calls, daemon.calls().size()) << "without a usable id nothing is asked";
}

}  // namespace
}  // namespace harbex::test
