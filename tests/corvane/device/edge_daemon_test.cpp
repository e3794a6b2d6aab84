#include "corvane/device/edge_daemon.h"

#include <chrono>

#include "common/error_code.h"
#include "support/files.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

constexpr const char* kAgentFile = "/opt/harbex/etc/cloudagent/cloudagent.cfg";

std::string hub_info() {
    std::string texts[] = {"a", "b", "c", "d"};
    const int result = corvane::bsh_get_hubinfo(texts[0], texts[1], texts[2], texts[3]);
    return std::to_string(result) + " " + texts[0] + "," + texts[1] + "," + texts[2] + "," + texts[3];
}

std::string ipsec_status() {
    int router = 7;
    int supernode = 8;
    const int result = corvane::bsh_get_ipsec_status(router, supernode);
    return std::to_string(result) + " " + std::to_string(router) + "," + std::to_string(supernode);
}

constexpr BusOperation kCloudStatus{"GetCloudStatus", "",
                                    [] { return std::to_string(corvane::bsh_get_cloud_status()); }};
constexpr BusOperation kHubInfo{"GetHubInfo", R"({"bdevice_token":"t-1"})", hub_info};
constexpr BusOperation kIpsecStatus{"GetIpsecStatus", "", ipsec_status};
constexpr BusOperation kInternet{"api.check_access_internet", R"({"ifname":"eth0"})",
                                 [] { return std::to_string(corvane::bsh_check_access_internet("eth0")); }};

TEST(EdgeDaemon, BrokenRepliesLeaveOutputsAlone) {
    write_text(kAgentFile, "DEV_TOKEN=\"t-1\"\n");
    const struct {
        const BusOperation& operation;
        const char *untouched, *words;  // the latter the method as the messages write it
    } family[] = {
        {kCloudStatus, "0", "GetCloudStatus"},
        {kHubInfo, "60 a,b,c,d", "GetHubInfo"},
        {kIpsecStatus, "60 7,8", "GetIPSecStatus"},
    };
    ScriptedService<> daemon("corvane_expressd");
    for (const auto& member : family) {
        const std::string words = member.words;
        const std::string unparsable = "Failed to parse " + words + " output JSON: ";
        expect_replies(daemon, member.operation,
                       {
                           {"hung up", nullptr, member.untouched, "Failed to call corvane_expressd." + words},
                           {"nothing", "", member.untouched, "Failed to read bsh output"},
                           {"cut short", R"({"data":)", member.untouched, unparsable + parser_text(R"({"data":)")},
                       });
    }
}

TEST(EdgeDaemon, RepliesAreReadForTheirShapeOnly) {
    write_text(kAgentFile, "DEV_TOKEN=\"t-1\"\n");
    ScriptedService<> daemon("corvane_expressd");
    expect_replies(daemon, kCloudStatus,
                   {
                       {"an error beside good data", R"({"error":5,"data":-3})", "-3", ""},
                       {"an array", "[3]", "0", "GetCloudStatus output missing 'data' object"},
                   });
    expect_replies(
        daemon, kHubInfo,
        {
            {"an error beside good data",
             R"({"error":5,"data":"{\"router_region\":{\"device_name\":\"R\",\"public_ip\":\"1.2.3.4\"},)"
             R"(\"supernode_region\":{\"device_name\":\"S\",\"public_ip\":\"5.6.7.8\"}}"})",
             "0 R,1.2.3.4,S,5.6.7.8", ""},
            {"in part", R"({"data":"{\"router_region\":{\"device_name\":1,\"public_ip\":\"\"}}"})", "0 a,,c,d", ""},
            {"no data", "{}", "60 a,b,c,d", "GetHubInfo output missing 'data' string"},
            {"inner text no JSON", R"({"data":"{"})", "60 a,b,c,d",
             "Failed to parse inner data JSON: " + parser_text("{")},
        });
    expect_replies(
        daemon, kIpsecStatus,
        {
            {"all and some", R"({"error":5,"data":{"router":{"a":2},"supernode":{"a":2,"b":"2"}}})", "0 1,2", ""},
            {"no data", "{}", "60 7,8", "GetIPSecStatus output missing 'data' object"},
        });
}

TEST(DeviceToken, QuotesAreStripped) {
    write_text(kAgentFile, "DEV_TOKEN = \"\"a\"b\"\"\"\n");
    EXPECT_EQ("0 a\"b", on_text(corvane::get_bdevice_token));
    write_text(kAgentFile, "DEV_TOKEN=\"\"\n");
    TraceReader log;
    EXPECT_EQ("60 before", on_text(corvane::get_bdevice_token));
    EXPECT_EQ("ERROR bdevice_token is empty", lines_of(log));
}

TEST(InternetAccess, ManagersAnswersAreMapped) {
    TraceReader log;
    EXPECT_EQ(ERR_WRONG_JSON_FORMAT, corvane::bsh_check_access_internet("\xff"));
    EXPECT_EQ("ERROR Failed to set ifname", lines_of(log));
    ScriptedService<> manager("NetworkService");
    const std::string failed = "bsh NetworkService.api.check_access_internet failed with error code: ";
    expect_replies(manager, kInternet,
                   {
                       {"reachable", R"({"error":0})", "0", ""},
                       {"not reachable", R"({"error":1,"data":""})", "48", failed + "1"},
                       {"error no integer", R"({"error":"0"})", "49", "Failed to get error"},
                       {"cut short", R"({"error":0)", "49", "Failed to parse JSON: " + parser_text(R"({"error":0)")},
                       {"nothing", "", "46", "Failed to read response"},
                       {"hung up", nullptr, "60", "Fail to execute NetworkService.api.check_access_internet"},
                   });
}

TEST(InternetAccess, ARunningCheckIsAskedTenTimes) {
    ScriptedService<> manager("NetworkService");
    manager.answer(kInternet.method, R"({"error":-2})");
    TraceReader log;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ("48", kInternet.run());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(10U, manager.calls().size());
    std::vector<std::string> expected;
    for (int retry = 0; retry < 10; ++retry) {
        const std::string check = "bsh NetworkService.api.check_access_internet";
        expected.push_back("INFO bsh API: " + check);
        expected.push_back("INFO " + check + " is processing, retry " + std::to_string(retry) + " times");
    }
    EXPECT_EQ(expected, log.lines());
}

}  // namespace
}  // namespace harbex::test
