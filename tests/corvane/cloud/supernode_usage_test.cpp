#include "corvane/cloud/supernode_usage.h"

#include "support/reply_rows.h"

namespace harbex::test {
namespace {

constexpr const char* kFailed = R"(60 {"kept":1})";
constexpr const char* kRefused = R"(49 {"kept":1})";
constexpr BusOperation kRemaining{"GetSupernodeRemaining", "",
                                  [] { return on_document(corvane::bsh_get_supernode_remaining); }};
constexpr BusOperation kDevices{"GetSupernodeDevices", "",
                                [] { return on_document(corvane::bsh_get_supernode_devices); }};
constexpr BusOperation kTraffic{"SupernodeRecentBillingDailyTraffic", "",
                                [] { return on_document(corvane::bsh_supernode_recent_billing_daily_traffic); }};
constexpr BusOperation kDeviceToken{"GetDeviceToken", "", [] { return on_text(corvane::bsh_get_device_token); }};

TEST(SupernodeUsage, BrokenRepliesLeaveOutputsAlone) {
    ScriptedService<> daemon("corvane_expressd");
    for (const BusOperation& operation : {kRemaining, kDevices, kTraffic, kDeviceToken}) {
        const std::string method = operation.method;
        const bool is_token = operation.run == kDeviceToken.run;
        const std::string failed = is_token ? "60 before" : kFailed;
        // What stands in the log behind the checker's own line.
        const std::string end = is_token ? "" : "\nFailed to check " + method + " response";
        const std::string unparsable = is_token ? "Failed to parse GetDeviceToken output JSON: " + parser_text("{")
                                                : "Failed to check bsh response because root is NULL";
        expect_replies(daemon, operation,
                       {
                           {"hung up", nullptr, failed, "Failed to call corvane_expressd." + method},
                           {"cut short", "{", failed, unparsable + end},
                           {"refused", R"({"error":5,"error_message":"x","data":[]})", failed,
                            "bsh response error 5, msg = x" + end},
                       });
    }
}

TEST(SupernodeUsage, DataMustHaveItsShape) {
    const char* no_integer =
        "GetSupernodeRemaining output missing 'remainingThroughput', 'renewalDate', 'throughputCapacity' or "
        "'lastBillingDate' integer";
    ScriptedService<> daemon("corvane_expressd");
    TraceReader log;
    expect_replies(
        daemon, kRemaining,
        {
            {"an array", R"({"error":0,"data":[1,2,3,4]})", kRefused,
             "GetSupernodeRemaining output missing 'data' object"},
            {"all there",
             R"({"error":0,"data":{"remainingThroughput":5000000000,"renewalDate":2,"throughputCapacity":-3,)"
             R"("lastBillingDate":4,"more":5}})",
             R"(0 {"expired_date":2,"kept":1,"last_billing_date":4,"remaining_usage":5000000000,"total_usage":-3})",
             ""},
        });
    for (const char* member : {"remainingThroughput", "renewalDate", "throughputCapacity", "lastBillingDate"}) {
        std::string reply = R"({"error":0,"data":{"remainingThroughput":1,"renewalDate":1,"throughputCapacity":1,)"
                            R"("lastBillingDate":1}})";
        reply.replace(reply.find(member) + std::string(member).size() + 2, 1, "1.0");
        expect_replies(daemon, kRemaining, {{member, reply.c_str(), kRefused, no_integer}});
    }
    (void)log.lines();
    for (const BusOperation& operation : {kDevices, kTraffic}) {
        const std::string no_array = std::string(operation.method) + " output missing 'data' array";
        expect_replies(daemon, operation,
                       {
                           {"an object", R"({"error":0,"data":{}})", kRefused, no_array},
                           {"some", R"({"error":0,"data":[{"a":"b"},1]})", R"(0 [{"a":"b"},1])", ""},
                       });
    }
    expect_replies(daemon, kDeviceToken,
                   {
                       {"no data", R"({"error":0})", "49 before", "GetDeviceToken output missing 'data' string"},
                       {"a token", R"({"error":0,"data":"t"})", "0 t", ""},
                   });
    EXPECT_EQ(
        "GetSupernodeDevices bsh output: {\"error\":0,\"data\":{}}\n"
        "GetSupernodeDevices bsh output: {\"error\":0,\"data\":[{\"a\":\"b\"},1]}\n"
        "SupernodeRecentBillingDailyTraffic bsh output: {\"error\":0,\"data\":{}}\n"
        "SupernodeRecentBillingDailyTraffic bsh output: {\"error\":0,\"data\":[{\"a\":\"b\"},1]}\n"
        "SupernodeRecentBillingDailyTraffic returned 2 records\n"
        "bsh output: {\"error\":0}\n"
        "bsh output: {\"error\":0,\"data\":\"t\"}\n"
        "device_token: t",
        lines_of(log, "INFO"));
}

}  // namespace
}  // namespace harbex::test
