// Every operation that asks a peer on the bus once: what it sends, what it takes from the answer, and what it says
// and leaves alone when there is no good one.
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
constexpr BusOperation kCloudStatus{"GetCloudStatus", "", [] {
                                        return Outcome{corvane::bsh_get_cloud_status(), ""};
                                    }};
constexpr BusOperation kHubInfo{"GetHubInfo", R"({"bdevice_token":"t-1"})", hub_info};
constexpr BusOperation kIpsecStatus{"GetIpsecStatus", "", ipsec_status};
constexpr BusOperation kRemaining{"GetSupernodeRemaining", "",
                                  [] { return on_document(corvane::bsh_get_supernode_remaining); }};
constexpr BusOperation kDevices{"GetSupernodeDevices", "",
                                [] { return on_document(corvane::bsh_get_supernode_devices); }};
constexpr BusOperation kTraffic{"SupernodeRecentBillingDailyTraffic", "",
                                [] { return on_document(corvane::bsh_supernode_recent_billing_daily_traffic); }};
constexpr BusOperation kDeviceToken{"GetDeviceToken", "", [] { return on_text(corvane::bsh_get_device_token); }};
constexpr BusOperation kInternet{"api.check_access_internet", R"({"ifname":"eth0"})", [] {
                                     return Outcome{corvane::bsh_check_access_internet("eth0"), ""};
                                 }};
constexpr BusOperation kCloudToken{"Get_cloudtoken", "", [] { return on_text(corvane::get_cloudtoken); }};
constexpr BusOperation kSaveToken{"Save_cloudtoken", "{\"oauth_response_encoded\":\"a\\\"b\\n\"}", [] {
                                      return Outcome{corvane::save_vellum_token("a\"b\n"), ""};
                                  }};
Outcome token_for(const std::string& organisation) {
    return on_text([&](std::string& token) { return corvane::get_corvanetoken(organisation, token); });
}
constexpr BusOperation kEdgeToken{"Get_corvanetoken", "{\"orgId\":\"o \\\"1\\\"/ü\"}",
                                  [] { return token_for("o \"1\"/ü"); }};
constexpr BusOperation kStoredIdsToken{"Get_corvanetoken", R"({"orgId":"o-2"})",
                                       [] { return on_text(corvane::get_corvanetoken_wrapper); }};

const std::string kCutShort = parser_text("{");
const std::string kFailed = "Failed to call corvane_expressd.";
const std::string kRefused = R"({"error":5,"error_message":"x","data":[]})";
const std::string kRefusal = "bsh response error 5, msg = x\n";

TEST(BusOperations, OfTheEdgeDaemon) {
    write_text(kAgentFile, "DEV_TOKEN=\"t-1\"\n");
    ScriptedService<> daemon("corvane_expressd");
    expect_replies(daemon, kCloudStatus,
                   {{kHungUp, 0, "", kFailed + "GetCloudStatus"},
                    {"", 0, "", "Failed to read bsh output"},
                    {"{", 0, "", "Failed to parse GetCloudStatus output JSON: " + kCutShort},
                    {"[3]", 0, "", "GetCloudStatus output missing 'data' object"},
                    {R"({"data":"3"})", 0, "", ""},
                    {R"({"error":5,"data":-3})", -3, "", ""}});
    const auto regions = [](const std::string& data) { return R"({"error":5,"data":"{)" + data + "}\"}"; };
    expect_replies(daemon, kHubInfo,
                   {{kHungUp, 60, "a,b,c,d", kFailed + "GetHubInfo"},
                    {"{", 60, "a,b,c,d", "Failed to parse GetHubInfo output JSON: " + kCutShort},
                    {"{}", 60, "a,b,c,d", "GetHubInfo output missing 'data' string"},
                    {R"({"data":"{"})", 60, "a,b,c,d", "Failed to parse inner data JSON: " + kCutShort},
                    {regions(R"(\"router_region\":{\"device_name\":1,\"public_ip\":\"\"})"), 0, "a,,c,d", ""},
                    {regions(R"(\"router_region\":{\"device_name\":\"R\",\"public_ip\":\"1.2.3.4\"},)"
                             R"(\"supernode_region\":{\"device_name\":\"S\",\"public_ip\":\"5.6.7.8\"})"),
                     0, "R,1.2.3.4,S,5.6.7.8", ""}});
    expect_replies(daemon, kIpsecStatus,
                   {{kHungUp, 60, "7,8", kFailed + "GetIPSecStatus"},
                    {"{", 60, "7,8", "Failed to parse GetIPSecStatus output JSON: " + kCutShort},
                    {"{}", 60, "7,8", "GetIPSecStatus output missing 'data' object"},
                    {R"({"data":{}})", 60, "7,8", "GetIPSecStatus output missing 'router' object"},
                    {R"({"data":{"router":{}}})", 60, "7,8", "GetIPSecStatus output missing 'supernode' object"},
                    {R"({"error":5,"data":{"router":{"a":2},"supernode":{"a":2,"b":"2"}}})", 0, "1,2", ""}});
    // Members in the order of the request: remaining, renewal, capacity, last billing.
    const auto remaining = [](const char* a, const char* b, const char* c, const char* d) {
        return std::string(R"({"error":0,"data":{"remainingThroughput":)") + a + R"(,"renewalDate":)" + b +
               R"(,"throughputCapacity":)" + c + R"(,"lastBillingDate":)" + d + "}}";
    };
    const std::string no_integer =
        "GetSupernodeRemaining output missing 'remainingThroughput', 'renewalDate', 'throughputCapacity' or "
        "'lastBillingDate' integer";
    const std::string unchecked = "Failed to check GetSupernodeRemaining response";
    expect_replies(
        daemon, kRemaining,
        {{kHungUp, 60, kKept, kFailed + "GetSupernodeRemaining"},
         {"{", 60, kKept, "Failed to check bsh response because root is NULL\n" + unchecked},
         {kRefused, 60, kKept, kRefusal + unchecked},
         {R"({"error":0,"data":[1,2,3,4]})", 49, kKept, "GetSupernodeRemaining output missing 'data' object"},
         {remaining("1.0", "1", "1", "1"), 49, kKept, no_integer},
         {remaining("1", "1.0", "1", "1"), 49, kKept, no_integer},
         {remaining("1", "1", "1.0", "1"), 49, kKept, no_integer},
         {remaining("1", "1", "1", "1.0"), 49, kKept, no_integer},
         {remaining("5000000000", "2", "-3", "4"), 0,
          R"({"expired_date":2,"kept":1,"last_billing_date":4,"remaining_usage":5000000000,"total_usage":-3})", ""}});
    LogReader log;
    for (const BusOperation& operation : {kDevices, kTraffic}) {
        const std::string method = operation.method;
        expect_replies(daemon, operation,
                       {{kHungUp, 60, kKept, kFailed + method},
                        {kRefused, 60, kKept, kRefusal + "Failed to check " + method + " response"},
                        {R"({"error":0,"data":{}})", 49, kKept, method + " output missing 'data' array"},
                        {R"({"error":0,"data":[{"a":"b"},1]})", 0, R"([{"a":"b"},1])", ""}});
    }
    expect_replies(daemon, kDeviceToken,
                   {{kHungUp, 60, "before", kFailed + "GetDeviceToken"},
                    {"{", 60, "before", "Failed to parse GetDeviceToken output JSON: " + kCutShort},
                    {R"({"error":5,"error_message":"x","data":"t"})", 60, "before", "bsh response error 5, msg = x"},
                    {R"({"error":0})", 49, "before", "GetDeviceToken output missing 'data' string"},
                    {R"({"error":0,"data":"t"})", 0, "t", ""}});
    const std::string information = log.text("INFO");
    EXPECT_NE(information.find("SupernodeRecentBillingDailyTraffic returned 2 records\n"), std::string::npos);
    EXPECT_TRUE(information.ends_with("\nbsh output: {\"error\":0,\"data\":\"t\"}\ndevice_token: t")) << information;

    write_text(kAgentFile, "DEV_TOKEN = \"\"a\"b\"\"\"\n");
    EXPECT_EQ("0 a\"b", on_text(corvane::get_bdevice_token).text());
    write_text(kAgentFile, "DEV_TOKEN=\"\"\n");
    EXPECT_EQ("60 before", on_text(corvane::get_bdevice_token).text());
    EXPECT_EQ("ERROR bdevice_token is empty", log.text());
}

TEST(BusOperations, OfTheNetworkManager) {
    constexpr const char* kMethod = "api.get_currentGWinfo";
    const struct {
        std::string (*run)();
        std::string function;
        const char *value, *no_data, *empty;
    } readers[] = {
        {corvane::get_gateway_ip, "get_gateway_ip", "10.0.0.9", "data", "first item"},
        {corvane::get_gateway_interface_name, "get_gateway_interface_name", "tun9", "data", "first item"},
        {corvane::get_gateway_display_name, "get_gateway_display_name", "Out", "display_name", "display_name"},
    };
    static std::string (*reader_run)();
    ScriptedService<> manager("NetworkService");
    const std::string none = "Failed to get ";
    for (const auto& reader : readers) {
        reader_run = reader.run;
        expect_replies(
            manager,
            {kMethod, "",
             [] {
                 return Outcome{0, reader_run()};
             }},
            {{R"({"data":[{"ifname":"tun9","interface_type":"VPN","status":{"display_name":"Out","IPv4":)"
              R"([{"ip":"10.0.0.9"},{"ip":"10.0.0.8"}]}},{"ifname":"eth0"}],"error":5})",
              0, reader.value, ""},
             {R"({"data":{}})", 0, "", none + reader.no_data},
             {R"({"data":[]})", 0, "", none + reader.empty},
             {"", 0, "", "Failed to parse JSON: " + parser_text("")},
             {kHungUp, 0, "", reader.function + ": bs_call failed, method: api.get_currentGWinfo, ret: 3"}});
    }
    expect_replies(manager,
                   {kMethod, "",
                    [] {
                        return Outcome{0, corvane::get_gateway_ip()};
                    }},
                   {{R"({"data":[{"status":{"IPv4":[{"ip":1}]}}]})", 0, "", none + "ip"}});

    const std::string check = "NetworkService.api.check_access_internet";
    expect_replies(manager, kInternet,
                   {{R"({"error":0})", 0, "", ""},
                    {R"({"error":1,"data":""})", 48, "", "bsh " + check + " failed with error code: 1"},
                    {R"({"error":"0"})", 49, "", "Failed to get error"},
                    {"{", 49, "", "Failed to parse JSON: " + kCutShort},
                    {"", 46, "", "Failed to read response"},
                    {kHungUp, 60, "", "Fail to execute " + check}});
    LogReader log;
    EXPECT_EQ(49, corvane::bsh_check_access_internet("\xff"));
    EXPECT_EQ("ERROR Failed to set ifname", log.text());
    manager.answer(kInternet.method, R"({"error":-2})");  // still running
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(48, kInternet.run().code);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    std::string tries;
    for (int retry = 0; retry < 10; ++retry)
        tries += "INFO bsh API: bsh " + check + "\nINFO bsh " + check + " is processing, retry " +
                 std::to_string(retry) + " times\n";
    EXPECT_EQ(tries, log.text() + "\n");
}

TEST(BusOperations, OfTheNetworkDaemon) {
    const std::string failed = "bs_call failed, method: ";
    const std::string refused = "\nFailed to check corvane token response";
    ScriptedService<> daemon("harbex_network_service");
    expect_replies(
        daemon, kCloudToken,
        {{R"({"error": 0, "data": "t"})", 0, "t", ""},
         {R"({"error": 0, "data": 5})", 49, "before", "No 'data' string in get cloud token response"},
         {R"({"error": 1010, "data": "t"})", 60, "before", "Get_cloudtoken responded with error code: 1010"},
         {R"({"error": "0", "data": "t"})", 49, "before", "No 'error' integer in get cloud token response"},
         {"{", 49, "before", "Failed to parse JSON: " + kCutShort},
         {kHungUp, 60, "before", "get_cloudtoken: " + failed + "Get_cloudtoken, ret: 3"}});
    expect_replies(daemon, kSaveToken,
                   {{R"({"error": 1014})", 0, "", ""},
                    {kHungUp, 60, "", "Failed to call bsh harbex_network_service.Save_cloudtoken"}});
    EXPECT_EQ(60, corvane::save_vellum_token("\xff")) << "no text that could be sent";
    expect_replies(daemon, kEdgeToken,
                   {{R"({"data": "t", "error": 0, "meta": {"version": "1.0"}})", 0, "t", ""},
                    {R"({"data": {"token": "t"}, "error": 0})", 49, "before", "Invalid response format"},
                    {kRefused, 60, "before", "bsh response error 5, msg = x" + refused},
                    {"", 60, "before", "Failed to check bsh response because root is NULL" + refused},
                    {kHungUp, 60, "before", "get_corvanetoken: " + failed + "Get_corvanetoken, ret: 3"}});
    // Without a usable id nothing is asked.
    const size_t calls = daemon.calls().size();
    LogReader log;
    EXPECT_EQ("60 before", token_for("\xff").text());
    EXPECT_EQ("ERROR Failed to serialize request JSON", log.text());
    for (const char* settings : {"[Join Corvane]\nCORVANE_ORG_ID =  \n", "[Other]\nCORVANE_ORG_ID = o-2\n"}) {
        write_text(kCorvaneConf, settings);
        EXPECT_EQ("60 before", kStoredIdsToken.run().text()) << settings;
        EXPECT_EQ("ERROR Failed to get CORVANE_ORG_ID from corvane.conf", log.text()) << settings;
    }
    EXPECT_EQ(calls, daemon.calls().size());
    write_text(kCorvaneConf, "[Join Corvane]\nCORVANE_ORG_ID = o-2\n");
    expect_replies(daemon, kStoredIdsToken, {{R"({"data": "t", "error": 0})", 0, "t", ""}});
}

}  // namespace
}  // namespace harbex::test
