#include "corvane/device/edge_daemon.h"

#include <strings.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "common/error_code.h"
#include "common/failure.h"
#include "common/settings_files.h"
#include "common/trace_log.h"
#include "corvane/device/edge_query.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr int kConnected = 2;
constexpr int kStillRunning = -2;
constexpr int kInternetAttempts = 10;

// Method name, words of a failed call, words of an unparsable reply.
constexpr BusQuery daemon_query(const char* method, const char* call_failed, const char* unparsable) {
    BusQuery query = edge_query(method, call_failed);
    query.unparsable = unparsable;
    return query;
}
constexpr BusQuery kCloudStatus = daemon_query("GetCloudStatus", "Failed to call corvane_expressd.GetCloudStatus",
                                               "Failed to parse GetCloudStatus output JSON");
constexpr BusQuery kHubInfo = daemon_query("GetHubInfo", "Failed to call corvane_expressd.GetHubInfo",
                                           "Failed to parse GetHubInfo output JSON");
// Method and messages differ in case; people search the logs for the latter.
constexpr BusQuery kIpsecStatus = daemon_query("GetIpsecStatus", "Failed to call corvane_expressd.GetIPSecStatus",
                                               "Failed to parse GetIPSecStatus output JSON");
constexpr BusQuery kInternetCheck{
    .service = "NetworkService",
    .method = "api.check_access_internet",
    .announcement = "bsh API: bsh NetworkService.api.check_access_internet",
    .bad_arguments = "Failed to set ifname",
    .call_failed = "Fail to execute NetworkService.api.check_access_internet",
    .no_reply = "Failed to read response",
    .unparsable = "Failed to parse JSON",
};

// "Failed to set org id" is shared with the organisation's writer.
constexpr Setting kFeatureIntro{kCorvaneConf, "Feature Guide", "feature_intro",
                                "true",       nullptr,         "Failed to set org id"};
constexpr Setting kFeatureTip{kCorvaneConf, "Feature Guide", "feature_tip", "true", nullptr, "Failed to set org id"};

void take_text(const json_t* region, const char* member, std::string& text) {
    const json_t* value = json_object_get(region, member);
    if (json_is_string(value)) text.assign(json_string_value(value), json_string_length(value));
}

int result_of(BusStep step) {
    switch (step) {
        case BusStep::kDone:
            return NO_ERROR;
        case BusStep::kStream:
        case BusStep::kRead:
            return ERR_BS_IO_FAILED;
        case BusStep::kCall:
            return ERR_CMD_FAILED;
        case BusStep::kArguments:
        case BusStep::kParse:
        case BusStep::kCheck:
            break;
    }
    return ERR_WRONG_JSON_FORMAT;
}

// One attempt of the internet check; NO_ERROR with the manager's answer in `state`.
int ask_internet_state(const std::string& ifname, json_int_t& state) {
    const JsonOwner arguments(json_pack("{s:s}", "ifname", ifname.c_str()));
    if (!arguments) return fail(ERR_WRONG_JSON_FORMAT, kInternetCheck.bad_arguments);
    const BusAnswer answer = query_service(kInternetCheck, arguments.get());
    if (answer.stopped_at != BusStep::kDone) return result_of(answer.stopped_at);
    const json_t* error = json_object_get(answer.document.get(), "error");
    if (!json_is_integer(error)) return fail(ERR_WRONG_JSON_FORMAT, "Failed to get error");
    state = json_integer_value(error);
    return NO_ERROR;
}

// As established: a value is refused only when both comparisons give exactly 1. They give the difference of the first
// characters that differ, and no value is that close to both words; callers have come to store what they like.
bool is_refused(const char* value) {
    // NOLINTNEXTLINE(bugprone-suspicious-string-compare)
    return strcasecmp(value, "true") == 1 && strcasecmp(value, "false") == 1;
}

}  // namespace

int get_bdevice_token(std::string& token) {
    std::string install_path;
    if (get_install_path(install_path) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get harbex install path");
    const std::string file = install_path + kAgentConfiguration;
    std::string value;
    if (read_setting({file.c_str(), "", "DEV_TOKEN", "", nullptr, nullptr}, value) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get bdevice_token from %s\n", kAgentConfiguration);
        return ERR_CMD_FAILED;
    }
    const size_t first = value.find_first_not_of('"');
    if (first == std::string::npos) return fail(ERR_CMD_FAILED, "bdevice_token is empty");
    token = value.substr(first, value.find_last_not_of('"') - first + 1);
    return NO_ERROR;
}

int get_cloud_status(int& status) {
    const BusAnswer answer = query_service(kCloudStatus);
    if (!answer.document) return ERR_CMD_FAILED;
    const json_t* data = json_object_get(answer.document.get(), "data");
    if (data == nullptr) return fail(ERR_CMD_FAILED, "GetCloudStatus output missing 'data' object");
    if (!json_is_integer(data)) return ERR_CMD_FAILED;  // only a missing member has words
    status = static_cast<int>(json_integer_value(data));
    return NO_ERROR;
}

int bsh_get_cloud_status() {
    int status = 0;
    (void)get_cloud_status(status);  // 0 is this form's word for failure
    return status;
}

int bsh_get_hubinfo(std::string& router_name, std::string& router_ip, std::string& supernode_name,
                    std::string& supernode_ip) {
    std::string token;
    if (get_bdevice_token(token) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get bdevice_token");
    const JsonOwner arguments(json_pack("{s:s}", "bdevice_token", token.c_str()));
    if (!arguments) return fail(ERR_CMD_FAILED, kHubInfo.call_failed);  // a token that is no text cannot be sent
    const BusAnswer answer = query_service(kHubInfo, arguments.get());
    if (!answer.document) return ERR_CMD_FAILED;
    const char* data = json_string_value(json_object_get(answer.document.get(), "data"));
    if (data == nullptr) return fail(ERR_CMD_FAILED, "GetHubInfo output missing 'data' string");
    HARBEXLOG(HARBEXLOG_INFO, "GetHubInfo data: %s\n", data);

    json_error_t error{};
    const JsonOwner inner(json_loads(data, 0, &error));
    if (!inner) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to parse inner data JSON: %s\n", error.text);
        return ERR_CMD_FAILED;
    }
    const json_t* router = json_object_get(inner.get(), "router_region");
    const json_t* supernode = json_object_get(inner.get(), "supernode_region");
    take_text(router, "device_name", router_name);
    take_text(router, "public_ip", router_ip);
    take_text(supernode, "device_name", supernode_name);
    take_text(supernode, "public_ip", supernode_ip);
    return NO_ERROR;
}

int bsh_get_ipsec_status(int& router_status, int& supernode_status) {
    const BusAnswer answer = query_service(kIpsecStatus);
    if (!answer.document) return ERR_CMD_FAILED;
    const json_t* data = json_object_get(answer.document.get(), "data");
    if (!json_is_object(data)) return fail(ERR_CMD_FAILED, "GetIPSecStatus output missing 'data' object");
    json_t* router = json_object_get(data, "router");
    if (!json_is_object(router)) return fail(ERR_CMD_FAILED, "GetIPSecStatus output missing 'router' object");
    json_t* supernode = json_object_get(data, "supernode");
    if (!json_is_object(supernode)) return fail(ERR_CMD_FAILED, "GetIPSecStatus output missing 'supernode' object");
    router_status = ipsec_connetion_status_statistic(router);
    supernode_status = ipsec_connetion_status_statistic(supernode);
    HARBEXLOG(HARBEXLOG_INFO, "router_status: %d, supernode_status: %d\n", router_status, supernode_status);
    return NO_ERROR;
}

int ipsec_connetion_status_statistic(json_t* object) {
    size_t all = 0;
    size_t connected = 0;
    const char* name = nullptr;
    json_t* state = nullptr;
    json_object_foreach(object, name, state) {
        ++all;
        if (json_is_integer(state) && json_integer_value(state) == kConnected) ++connected;
    }
    if (connected == 0) return 0;
    return connected == all ? 1 : 2;
}

int check_device(JsonValue& out) {
    std::string path;
    const int result = get_install_path(path);
    if (result != NO_ERROR) return result;
    out["is_on_corvane"] = std::ifstream(path + kAgentConfiguration).is_open() ? 1 : 0;
    return NO_ERROR;
}

int bsh_check_access_internet(const std::string& ifname) {
    for (int attempt = 0; attempt < kInternetAttempts; ++attempt) {
        json_int_t state = 0;
        const int result = ask_internet_state(ifname, state);
        if (result != NO_ERROR) return result;
        if (state == 0) {
            HARBEXLOG(HARBEXLOG_INFO, "bsh NetworkService.api.check_access_internet success\n");
            return NO_ERROR;
        }
        if (state != kStillRunning) {
            HARBEXLOG(HARBEXLOG_ERROR, "bsh NetworkService.api.check_access_internet failed with error code: %d\n",
                      static_cast<int>(state));
            return ERR_BS_API_RET_ERROR;
        }
        HARBEXLOG(HARBEXLOG_INFO, "bsh NetworkService.api.check_access_internet is processing, retry %d times\n",
                  attempt);
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    return ERR_BS_API_RET_ERROR;
}

int feature_tour_show(JsonValue& out) {
    std::string intro;
    std::string tip;
    (void)read_setting(kFeatureIntro, intro);  // cannot fail: the defaults are not empty
    (void)read_setting(kFeatureTip, tip);
    out["feature_intro"] = intro == "true";
    out["feature_tip"] = tip == "true";
    return NO_ERROR;
}

int feature_tour_set(const char* intro, const char* tip) {
    if (intro == nullptr) intro = "";
    if (tip == nullptr) tip = "";
    if (is_refused(intro)) return fail(ERR_UNKNOWN_OPTION, "Wrong feature intro");
    if (is_refused(tip)) return fail(ERR_UNKNOWN_OPTION, "Wrong feature tip");
    if (write_setting(kFeatureIntro, intro) != NO_ERROR || write_setting(kFeatureTip, tip) != NO_ERROR)
        return ERR_NO_TYPE;
    return NO_ERROR;
}

}  // namespace harbex::corvane
