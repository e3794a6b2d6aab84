#include "corvane/cloud/supernode_usage.h"

#include <jansson.h>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/trace_log.h"
#include "corvane/device/edge_query.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

// Method name, words of a failed call, label of the reply, words of a reply that is refused.
constexpr BusQuery checked_query(const char* method, const char* call_failed, const char* reply_label,
                                 const char* rejected) {
    BusQuery query = edge_query(method, call_failed);
    query.reply_label = reply_label;
    query.check_envelope = true;
    query.rejected = rejected;
    return query;
}
constexpr BusQuery kRemaining =
    checked_query("GetSupernodeRemaining", "Failed to call corvane_expressd.GetSupernodeRemaining", "bsh output",
                  "Failed to check GetSupernodeRemaining response");
constexpr BusQuery kDevices =
    checked_query("GetSupernodeDevices", "Failed to call corvane_expressd.GetSupernodeDevices",
                  "GetSupernodeDevices bsh output", "Failed to check GetSupernodeDevices response");
constexpr BusQuery kTraffic = checked_query(
    "SupernodeRecentBillingDailyTraffic", "Failed to call corvane_expressd.SupernodeRecentBillingDailyTraffic",
    "SupernodeRecentBillingDailyTraffic bsh output", "Failed to check SupernodeRecentBillingDailyTraffic response");
constexpr BusQuery kDeviceToken = [] {
    BusQuery query = edge_query("GetDeviceToken", "Failed to call corvane_expressd.GetDeviceToken");
    query.unparsable = "Failed to parse GetDeviceToken output JSON";
    query.check_envelope = true;
    return query;
}();

// Replaces `result` by a copy of the reply's "data" array.
int take_array(const BusQuery& query, const char* complaint, JsonValue& result, size_t& count) {
    const BusAnswer answer = query_service(query);
    if (!answer.document) return ERR_CMD_FAILED;
    const json_t* data = json_object_get(answer.document.get(), "data");
    if (!json_is_array(data)) return fail(ERR_WRONG_JSON_FORMAT, complaint);
    JsonOwner copy(json_deep_copy(data));
    if (!copy) return ERR_CMD_FAILED;  // no memory
    count = json_array_size(data);
    result = copy.release();
    return NO_ERROR;
}

}  // namespace

int bsh_get_supernode_remaining(JsonValue& result) try {
    const BusAnswer answer = query_service(kRemaining);
    if (!answer.document) return ERR_CMD_FAILED;
    const json_t* data = json_object_get(answer.document.get(), "data");
    if (!json_is_object(data))
        return fail(ERR_WRONG_JSON_FORMAT, "GetSupernodeRemaining output missing 'data' object");
    const json_t* remaining = json_object_get(data, "remainingThroughput");
    const json_t* renewal = json_object_get(data, "renewalDate");
    const json_t* capacity = json_object_get(data, "throughputCapacity");
    const json_t* last_billing = json_object_get(data, "lastBillingDate");
    if (!json_is_integer(remaining) || !json_is_integer(renewal) || !json_is_integer(capacity) ||
        !json_is_integer(last_billing)) {
        return fail(
            ERR_WRONG_JSON_FORMAT,
            "GetSupernodeRemaining output missing 'remainingThroughput', 'renewalDate', 'throughputCapacity' or "
            "'lastBillingDate' integer");
    }
    const auto number = [](const json_t* value) { return static_cast<long long>(json_integer_value(value)); };
    result["remaining_usage"] = number(remaining);
    result["total_usage"] = number(capacity);
    result["expired_date"] = number(renewal);
    result["last_billing_date"] = number(last_billing);
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

int bsh_get_supernode_devices(JsonValue& result) try {
    size_t count = 0;
    return take_array(kDevices, "GetSupernodeDevices output missing 'data' array", result, count);
} catch (...) {
    return short_of_memory();
}

int bsh_supernode_recent_billing_daily_traffic(JsonValue& result) try {
    size_t count = 0;
    const int code =
        take_array(kTraffic, "SupernodeRecentBillingDailyTraffic output missing 'data' array", result, count);
    if (code == NO_ERROR)
        HARBEXLOG(HARBEXLOG_INFO, "SupernodeRecentBillingDailyTraffic returned %zu records\n", count);
    return code;
} catch (...) {
    return short_of_memory();
}

int bsh_get_device_token(std::string& token) try {
    const BusAnswer answer = query_service(kDeviceToken);
    if (!answer.document) return ERR_CMD_FAILED;
    if (!take_text(json_object_get(answer.document.get(), "data"), token))
        return fail(ERR_WRONG_JSON_FORMAT, "GetDeviceToken output missing 'data' string");
    HARBEXLOG(HARBEXLOG_INFO, "device_token: %s\n", token.c_str());
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
