#include "corvane/cloud/unregistration.h"

#include "common/error_code.h"
#include "common/http.h"
#include "common/trace_log.h"
#include "corvane/cloud/account_token.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/device/failure.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {

int corvane_api_device_unregister(const std::string& device_id, const std::string& corvane_token,
                                  const std::string& vellum_token, std::string& reply) try {
    const system::RestRequest request{
        .method = system::HttpMethod::kDelete,
        .url = get_corvane_api_url("/cvnms/bthings/api/v1/devices/" + device_id),
        .headers = {"Content-Type: application/json", "Authorization: " + corvane_token,
                    "vellumToken: " + vellum_token},
        .body = {},
    };
    system::RestTransfer transfer;
    if (transfer.honour_insecure_switch() != NO_ERROR) HARBEXLOG(HARBEXLOG_WARN, "Failed to set insecure curl\n");
    // With both tokens in clear: support asks for this line.
    HARBEXLOG(HARBEXLOG_INFO, "try to unregister device with corvaneToken: %s, vellumToken: %s\n",
              corvane_token.c_str(), vellum_token.c_str());
    const int result = transfer.send(request, reply);
    if (result != NO_ERROR) return fail(result, "Failed to unregister device");
    HARBEXLOG(HARBEXLOG_INFO, "Unregister device response: %s\n", reply.c_str());
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

int device_unregister(JsonValue& result) try {
    HARBEXLOG(HARBEXLOG_DEBUG, "device_unregister\n");
    std::string vellum_token;
    if (get_cloudtoken(vellum_token) != NO_ERROR)
        return fail(ERR_CORVANE_GETCLOUDTOKEN, "Failed to obtain vellumToken");
    HARBEXLOG(HARBEXLOG_DEBUG, "get vellumToken: %s\n", vellum_token.c_str());
    std::string corvane_token;
    if (get_corvanetoken_wrapper(corvane_token) != NO_ERROR) {
        return fail(ERR_CORVANE_GETCORVANETOKEN, "Failed to get corvane token");
    }
    HARBEXLOG(HARBEXLOG_DEBUG, "get corvaneToken: %s\n", corvane_token.c_str());
    const std::string device_id = get_device_id();
    if (device_id.empty()) return fail(ERR_CORVANE_GETDEVICE_ID, "Failed to get corvane device id");
    HARBEXLOG(HARBEXLOG_DEBUG, "get deviceId: %s\n", device_id.c_str());

    std::string reply;
    const int deleted = corvane_api_device_unregister(device_id, corvane_token, vellum_token, reply);
    result["device_unregister_response"] = reply;
    if (deleted != NO_ERROR) return fail(deleted, "Failed to unregister device");
    if (write_setting(kBidTokenStatus, "") == NO_ERROR) {
        HARBEXLOG(HARBEXLOG_INFO, "Successfully cleared bid_token_status\n");
    } else {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to clear bid_token_status\n");
    }
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
