#include "corvane/cloud/subnet_check.h"

#include <jansson.h>

#include <vector>

#include "common/error_code.h"
#include "common/http.h"
#include "common/json_owner.h"
#include "common/subnet.h"
#include "common/trace_log.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

// "" when it cannot be built.
std::string request_body(const std::string& virtual_ip, const std::vector<std::string>& excluded) {
    JsonOwner subnets(json_array());
    for (const std::string& subnet : excluded)
        json_array_append_new(subnets.get(), json_string(subnet.c_str()));
    const JsonOwner document(json_pack("{s:[{s:s%, s:s, s:s, s:o}]}", "data", "ip", virtual_ip.data(),
                                       virtual_ip.size(), "submask", "32", "type", "virtualIP", "excludedSubnets",
                                       subnets.release()));
    return json_dump_text(document.get(), JSON_COMPACT);
}

// The first suggestion in the cloud's answer, null for none.
const char* suggested_network(const json_t* root) {
    size_t index = 0;
    json_t* element = nullptr;
    json_array_foreach(json_object_get(root, "data"), index, element) {
        const char* text = json_string_value(json_object_get(json_object_get(element, "data"), "sugIPNet"));
        if (text != nullptr && *text != '\0') return text;
    }
    return nullptr;
}

int take_suggestion(const std::string& response, std::string& virtual_ip) {
    const std::string original = virtual_ip;
    const JsonOwner root = parse_or_log(response, "Failed to parse JSON response");
    if (!root) return ERR_WRONG_JSON_FORMAT;
    if (const char* network = suggested_network(root.get())) {
        const std::string suggestion(network);
        virtual_ip = suggestion.substr(0, suggestion.find('/'));
        HARBEXLOG(HARBEXLOG_INFO, "IP subnet conflict detected. Original IP: %s, Suggested IP: %s\n",
                  original.c_str(), virtual_ip.c_str());
    }
    HARBEXLOG(HARBEXLOG_INFO, "%s Original IP: %s, Suggested IP: %s\n",
              virtual_ip == original ? "IP subnet conflict not detected." : "IP subnet conflict detected.",
              original.c_str(), virtual_ip.c_str());
    return NO_ERROR;
}

}  // namespace

int corvane_api_ip_subnet_check(std::string& virtual_ip) try {
    HARBEXLOG(HARBEXLOG_INFO, "corvane_api_ip_subnet_check start\n");
    std::string token;
    if (get_corvanetoken_wrapper(token) != NO_ERROR)
        return fail(ERR_CORVANE_GETCLOUDTOKEN, "Failed to get Corvane token");
    std::vector<std::string> excluded;
    if (system::collect_all_interface_subnet(excluded) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_WARN, "Failed to collect excluded subnets, continuing without them\n");
        excluded.clear();
    }
    system::RestRequest request{
        .method = system::HttpMethod::kPost,
        .url = get_corvane_api_url("/corvane/bthings/api/v1/ip_subnet_check"),
        .headers = {"accept: application/json", "Authorization: Buser " + token, "Content-Type: application/json"},
        .body = {},
    };
    system::RestTransfer transfer;
    if (!transfer) return fail(ERR_CURL_FAIL, "Failed to initialize CURL");
    if (const int result = transfer.honour_insecure_switch(); result != NO_ERROR) {
        return fail(result, "Failed to set insecure CURL");
    }
    request.body = request_body(virtual_ip, excluded);
    if (request.body.empty()) return fail(ERR_WRONG_JSON_FORMAT, "Failed to serialize JSON");
    HARBEXLOG(HARBEXLOG_INFO, "ip_subnet_check request payload: %s\n", request.body.c_str());

    std::string response;
    const int result = transfer.send(request, response);
    HARBEXLOG(HARBEXLOG_INFO, "corvane api ip_subnet_check response: %s\n", response.c_str());
    if (result == NO_ERROR) {
        HARBEXLOG(HARBEXLOG_INFO, "[corvane_api_ip_subnet_check] No need to modify virtual ip\n");
        return NO_ERROR;
    }
    // The cloud answers a clash with a status outside 2xx.
    if (result == ERR_HTTP_ERROR) return take_suggestion(response, virtual_ip);
    HARBEXLOG(HARBEXLOG_ERROR, "Failed to call corvane api ip_subnet_check, response: %s, error: %d\n",
              response.c_str(), result);
    return result;
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
