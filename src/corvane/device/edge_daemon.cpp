#include "corvane/device/edge_daemon.h"

#include <jansson.h>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/trace_log.h"
#include "corvane/device/edge_query.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

constexpr int kConnected = 2;

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

}  // namespace

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
                    std::string& supernode_ip) try {
    std::string token;
    if (get_bdevice_token(token) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get bdevice_token");
    const JsonOwner arguments(json_pack("{s:s}", "bdevice_token", token.c_str()));
    if (!arguments) return fail(ERR_CMD_FAILED, kHubInfo.call_failed);  // a token that is no text cannot be sent
    const BusAnswer answer = query_service(kHubInfo, arguments.get());
    if (!answer.document) return ERR_CMD_FAILED;
    const char* data = json_string_value(json_object_get(answer.document.get(), "data"));
    if (data == nullptr) return fail(ERR_CMD_FAILED, "GetHubInfo output missing 'data' string");
    HARBEXLOG(HARBEXLOG_INFO, "GetHubInfo data: %s\n", data);

    const JsonOwner inner = parse_or_log(data, "Failed to parse inner data JSON");
    if (!inner) return ERR_CMD_FAILED;
    const json_t* router = json_object_get(inner.get(), "router_region");
    const json_t* supernode = json_object_get(inner.get(), "supernode_region");
    (void)take_text(json_object_get(router, "device_name"), router_name);  // what is unknown stays as it was
    (void)take_text(json_object_get(router, "public_ip"), router_ip);
    (void)take_text(json_object_get(supernode, "device_name"), supernode_name);
    (void)take_text(json_object_get(supernode, "public_ip"), supernode_ip);
    return NO_ERROR;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
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

}  // namespace harbex::corvane
