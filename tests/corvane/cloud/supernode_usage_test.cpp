#include "corvane/cloud/supernode_usage.h"

#include <gtest/gtest.h>

#include <string>

#include "common/json_owner.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

// The operation on a document that holds something; its result and what the document holds then.
std::string run_on_document(int (*operation)(JsonValue&)) {
    JsonValue document;
    document["kept"] = 1;
    std::string text = std::to_string(operation(document)) + " ";
    if (document.type == JsonValue::JSON_T_TYPE) {
        text += json_dump_text(static_cast<const json_t*>(document.value), JSON_COMPACT);
    } else {
        document.toString(text);
    }
    return text;
}

std::string remaining() {
    return run_on_document(corvane::bsh_get_supernode_remaining);
}
std::string devices() {
    return run_on_document(corvane::bsh_get_supernode_devices);
}
std::string traffic() {
    return run_on_document(corvane::bsh_supernode_recent_billing_daily_traffic);
}
std::string device_token() {
    std::string token = "before";
    const int result = corvane::bsh_get_device_token(token);
    return std::to_string(result) + " " + token;
}

constexpr const char* kFailed = R"(60 {"kept":1})";
constexpr const char* kRefused = R"(49 {"kept":1})";
constexpr BusOperation kRemaining{"GetSupernodeRemaining", "", remaining};
constexpr BusOperation kDevices{"GetSupernodeDevices", "", devices};
constexpr BusOperation kTraffic{"SupernodeRecentBillingDailyTraffic", "", traffic};
constexpr BusOperation kDeviceToken{"GetDeviceToken", "", device_token};

TEST(SupernodeUsage, BrokenRepliesLeaveOutputsAlone) {
    const std::string no_root = "Failed to check bsh response because root is NULL\n";
    const struct {
        const BusOperation& operation;
        const char* failed;
        std::string unparsable;  // what a reply that is no JSON leaves in the log
        std::string refused;     // what a refused one leaves behind the checker's own line
    } family[] = {
        {kRemaining, kFailed, no_root, "Failed to check GetSupernodeRemaining response"},
        {kDevices, kFailed, no_root, "Failed to check GetSupernodeDevices response"},
        {kTraffic, kFailed, no_root, "Failed to check SupernodeRecentBillingDailyTraffic response"},
        {kDeviceToken, "60 before", "Failed to parse GetDeviceToken output JSON: " + parser_text("{"), ""},
    };
    ScriptedService<> daemon("corvane_expressd");
    for (const auto& member : family) {
        const std::string call_failed = std::string("Failed to call corvane_expressd.") + member.operation.method;
        const std::string end = member.refused.empty() ? "" : "\n" + member.refused;
        expect_replies(daemon, member.operation,
                       {
                           {"hung up", nullptr, member.failed, call_failed},
                           {"nothing", "", member.failed, "Failed to read bsh output"},
                           {"cut short", "{", member.failed, member.unparsable + member.refused},
                           {"refused", R"({"error":5,"error_message":"x","data":[]})", member.failed,
                            "bsh response error 5, msg = x" + end},
                           {"no verdict", R"({"data":[]})", member.failed, "Failed to get error" + end},
                       });
    }
}

TEST(SupernodeUsage, DataMustHaveItsShape) {
    const char* no_object = "GetSupernodeRemaining output missing 'data' object";
    const char* no_integer =
        "GetSupernodeRemaining output missing 'remainingThroughput', 'renewalDate', 'throughputCapacity' or "
        "'lastBillingDate' integer";
    const char* no_text = "GetDeviceToken output missing 'data' string";
    const char* no_data = R"({"error":0})";
    ScriptedService<> daemon("corvane_expressd");
    expect_replies(
        daemon, kRemaining,
        {
            {"no data", no_data, kRefused, no_object},
            {"an array", R"({"error":0,"data":[1,2,3,4]})", kRefused, no_object},
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
    const struct {
        const BusOperation& operation;
        const char* no_array;
    } arrays[] = {{kDevices, "GetSupernodeDevices output missing 'data' array"},
                  {kTraffic, "SupernodeRecentBillingDailyTraffic output missing 'data' array"}};
    for (const auto& array : arrays) {
        expect_replies(daemon, array.operation,
                       {
                           {"no data", no_data, kRefused, array.no_array},
                           {"an object", R"({"error":0,"data":{}})", kRefused, array.no_array},
                           {"none", R"({"error":0,"data":[]})", "0 []", ""},
                           {"some", R"({"error":0,"data":[{"a":"b"},1]})", R"(0 [{"a":"b"},1])", ""},
                       });
    }
    expect_replies(daemon, kDeviceToken,
                   {
                       {"no data", no_data, "49 before", no_text},
                       {"an object", R"({"error":0,"data":{"token":"t"}})", "49 before", no_text},
                       {"a token", R"({"error":0,"data":"t"})", "0 t", ""},
                   });
}

TEST(SupernodeUsage, RepliesAndResultsAreLogged) {
    ScriptedService<> daemon("corvane_expressd");
    TraceReader log;
    for (const BusOperation& operation : {kRemaining, kDevices, kTraffic, kDeviceToken}) {
        daemon.answer(operation.method,
                      operation.run == device_token ? R"({"error":0,"data":"t"})" : R"({"error":0,"data":[1,2]})");
        (void)operation.run();
    }
    EXPECT_EQ(
        "bsh output: {\"error\":0,\"data\":[1,2]}\n"
        "GetSupernodeDevices bsh output: {\"error\":0,\"data\":[1,2]}\n"
        "SupernodeRecentBillingDailyTraffic bsh output: {\"error\":0,\"data\":[1,2]}\n"
        "SupernodeRecentBillingDailyTraffic returned 2 records\n"
        "bsh output: {\"error\":0,\"data\":\"t\"}\n"
        "device_token: t",
        lines_of(log, "INFO"));
}

}  // namespace
}  // namespace harbex::test
