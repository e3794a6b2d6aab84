#include "service/timeouts.h"

#include <jansson.h>
#include <time.h>

#include <mutex>

#include "service/json_input.h"
#include "service/logger.h"
#include "service/refusal.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr int64_t kTimeout_s = 60;
constexpr int64_t kStartOver_s = 120;

struct ReferenceTimes {
    std::mutex timeout_mutex;
    int64_t mqtt_timestamp = 0;   // guarded by timeout_mutex
    int64_t ipsec_timestamp = 0;  // guarded by timeout_mutex
};

// Never destroyed: bus threads may still be in here at exit.
ReferenceTimes& reference_times() {
    static ReferenceTimes& times = *new ReferenceTimes;
    return times;
}

bool is_good(const json_t* request, const char* member, const char* complaint) {
    const json_t* status = json_object_get(request, member);
    if (!json_is_boolean(status)) Logger::Log(ERROR, "%s", complaint);
    return json_is_true(status);
}

}  // namespace

bool judge_report(bool good, int64_t now_s, int64_t& reference_s) {
    const int64_t delta_s = now_s - reference_s;
    if (good || delta_s > kStartOver_s) {
        reference_s = now_s;
        return false;
    }
    if (delta_s <= kTimeout_s) return false;
    // Further bad reports within a minute of each other are time-outs, too.
    reference_s = now_s - kTimeout_s;
    return true;
}

int Update_and_check_timeout(bs_io* io) {
    Logger::Log(DEBUG, "Entering Update_and_check_timeout");
    const std::string_view bytes = request_bytes(io);
    if (bytes.empty())
        return send_error_response(io, failed(E_JSON_FAIL, "Failed to read input data"), "No input data");
    const JsonOwner request = parse_document(bytes, "Failed to parse JSON");
    if (!request) return send_error_response(io, E_JSON_FAIL, "Invalid JSON input");
    const bool mqtt_good = is_good(request.get(), "mqtt_status", "Missing or invalid mqtt_status field");
    const bool vpn_good = is_good(request.get(), "vpn_status", "Missing or invalid vpn_status field");

    const int64_t now = time(nullptr);
    bool mqtt_timeout = false;
    bool ipsec_timeout = false;
    {
        ReferenceTimes& times = reference_times();
        const std::lock_guard lock(times.timeout_mutex);
        const auto log = [now](const char* name, int64_t reference) {
            Logger::Log(DEBUG, "Update_and_check_timeout: %s: %ld, now: %ld, delta: %ld", name,
                        static_cast<long>(reference), static_cast<long>(now), static_cast<long>(now - reference));
        };
        log("mqtt_timestamp", times.mqtt_timestamp);
        mqtt_timeout = judge_report(mqtt_good, now, times.mqtt_timestamp);
        log("ipsec_timestamp", times.ipsec_timestamp);
        ipsec_timeout = judge_report(vpn_good, now, times.ipsec_timestamp);
    }

    JsonOwner reply(json_pack("{s:b, s:b}", "is_mqtt_timeout", mqtt_timeout, "is_ipsec_timeout", ipsec_timeout));
    if (!reply) return E_JSON_FAIL;
    Logger::Log(DEBUG, "Status updated: mqtt_status=%d, vpn_status=%d, is_mqtt_timeout=%d, is_ipsec_timeout=%d",
                mqtt_good, vpn_good, mqtt_timeout, ipsec_timeout);
    return send_success_response(io, reply.release());
}

int Flush_timeout(bs_io* io) {
    Logger::Log(DEBUG, "Entering Flush_timeout");
    {
        ReferenceTimes& times = reference_times();
        const std::lock_guard lock(times.timeout_mutex);
        times.mqtt_timestamp = 0;
        times.ipsec_timestamp = 0;
    }
    return send_success_response(io, json_pack("{s:s}", "message", "Timeout state flushed"));
}

}  // namespace harbex::service
