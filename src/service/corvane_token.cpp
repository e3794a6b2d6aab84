#include "service/corvane_token.h"

#include <jansson.h>
#include <time.h>

#include <optional>
#include <utility>

#include "common/http.h"
#include "common/number.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/device/settings.h"
#include "service/cloud_token.h"
#include "service/json_input.h"
#include "service/logger.h"
#include "service/refusal.h"
#include "service/renewal.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr int64_t kTokenLifetime_s = 86401;

// One turn covers judging again, fetching and storing the token; taken before the cloud token's. Never destroyed:
// bus threads may still be in here at exit.
Renewal& token_renewal() {
    static Renewal& renewal = *new Renewal;
    return renewal;
}

int read_login_reply(const std::string& response, std::string& token) {
    const JsonOwner document = parse_document(response, "[corvane_api_edge_login] Failed to parse JSON");
    if (!document) return E_JSON_FAIL;
    const json_t* text = json_object_get(document.get(), "corvaneToken");
    if (!json_is_string(text)) {
        return failed(E_JSON_FAIL, "[corvane_api_edge_login] No 'corvaneToken' string in JSON response");
    }
    token.assign(json_string_value(text), json_string_length(text));
    Logger::Log(DEBUG, "[corvane_api_edge_login] Successfully obtained corvaneToken (length: %zu)", token.size());
    return E_SUCCESS;
}

int corvane_api_edge_login(const std::string& org_id, const std::string& vellum_token, std::string& token) {
    system::RestTransfer transfer;
    if (!transfer) {
        Logger::Log(ERROR, "[corvane_api_edge_login] Failed to initialize curl");
        return failed(E_CURL_FAIL, "Failed to call corvane_api_edge_login");
    }
    const std::string url = corvane::get_corvane_api_url("/cvnms/nmsuser/api/v1/edge/login");
    if (transfer.honour_insecure_switch() != 0) {
        Logger::Log(ERROR, "[corvane_api_edge_login] Failed to set insecure curl");
    }
    Logger::Log(DEBUG, "[corvane_api_edge_login] Sending request to %s with orgId: %s", url.c_str(), org_id.c_str());
    const system::RestRequest request{
        .method = system::HttpMethod::kPost,
        .url = url,
        .headers = {"Content-Type: application/json", "vellumToken: " + vellum_token},
        .body = "{\"orgId\": \"" + org_id + "\"}",  // not escaped; the cloud knows it so
    };
    std::string response;
    if (const int result = transfer.send(request, response); result != 0) {
        Logger::Log(ERROR, "[corvane_api_edge_login] easycurl failed, err = %d", result);
        return E_CURL_FAIL;
    }
    Logger::Log(DEBUG, "[corvane_api_edge_login] Response length: %zu", response.size());
    return read_login_reply(response, token);
}

// In a turn of token_renewal.
int fetch_token(const std::string& org_id, std::string& token) {
    Logger::Log(DEBUG, "Attempting to get cloud token");
    std::string vellum_token;
    if (Get_cloudtoken(vellum_token) != E_SUCCESS) return failed(E_CMD_FAILED, "Failed to obtain vellumToken");
    Logger::Log(DEBUG, "Cloud token obtained successfully");
    std::string fetched;
    if (const int result = corvane_api_edge_login(org_id, vellum_token, fetched); result != E_SUCCESS) return result;
    if (corvane::write_setting(corvane::kCorvaneToken, fetched) != 0) {
        return failed(E_CMD_FAILED, "Failed to save corvaneToken to corvane.conf");
    }
    if (corvane::write_setting(corvane::kCorvaneTokenLastSeen, std::to_string(int64_t{time(nullptr)})) != 0) {
        return failed(E_CMD_FAILED, "Failed to save corvaneToken timestamp to corvane.conf");
    }
    Logger::Log(DEBUG, "Write corvaneToken to corvane.conf");
    token = std::move(fetched);
    return E_SUCCESS;
}

struct LastSeen {
    std::string text;
    int64_t time_s;  // since the epoch; 0 when the text says no time
    bool is_fresh() const { return is_corvane_token_fresh(time(nullptr), time_s); }
};

LastSeen read_last_seen() {
    std::string text;
    (void)corvane::read_setting(corvane::kCorvaneTokenLastSeen, text);  // a failure leaves no time, and that is stale
    const int64_t time_s = system::leading_int64(text);
    return {std::move(text), time_s};
}

int read_fresh_token(std::string& token) {
    Logger::Log(DEBUG, "corvane_token is not expired");
    std::string stored;
    if (corvane::read_setting(corvane::kCorvaneToken, stored) != 0)
        return failed(E_CMD_FAILED, "Failed to get corvane_token");
    token = std::move(stored);
    return E_SUCCESS;
}

// The token that is stored by the time of this caller's turn, or a new one unless it is fresh by now.
int renewed_token(const Renewal::Arrival& arrival, const std::string& org_id, std::string& token) {
    Renewal::Turn turn(arrival);
    const LastSeen last_seen = read_last_seen();
    if (last_seen.is_fresh()) return read_fresh_token(token);
    Logger::Log(INFO, "corvane_token expiration is %s %lld", last_seen.text.c_str(),
                static_cast<long long>(last_seen.time_s));
    // A login for another organisation, or one that went well, says nothing about this one.
    const std::optional<int> awaited = turn.awaited(org_id);
    if (awaited && *awaited != E_SUCCESS) return *awaited;
    return turn.note(org_id, fetch_token(org_id, token));
}

struct Refusal {
    int code;
    const char* message;
};

// Takes the organisation's name out of the organisation centre's answer; a null message means success.
Refusal read_org_name(const std::string& response, std::string& name) {
    const JsonOwner document = parse_document(response, "Failed to parse org json");
    if (!document) return {E_JSON_FAIL, "Invalid org info JSON"};
    const json_t* result = json_object_get(document.get(), "result");
    if (!json_is_object(result)) {
        return {failed(E_JSON_FAIL, "No valid 'result' object in org info"), "Missing org result field"};
    }
    const json_t* text = json_object_get(result, "name");
    if (!json_is_string(text)) {
        return {failed(E_JSON_FAIL, "No valid 'name' field in org info"), "Missing org name field"};
    }
    name.assign(json_string_value(text), json_string_length(text));
    return {E_SUCCESS, nullptr};
}

// Asks the organisation centre for the organisation's record.
Refusal query_org(const std::string& org_id, std::string& response) {
    std::string cloud_token;
    if (Get_cloudtoken(cloud_token) != E_SUCCESS) {
        constexpr const char* kFailure = "Failed to get cloud token";
        return {failed(E_CMD_FAILED, kFailure), kFailure};
    }
    const system::RestRequest request{
        .method = system::HttpMethod::kGet,
        .url = corvane::get_org_center_api_url("/v1.2/organization/" + org_id),
        .headers = {"accept: application/json", "Authorization: Bearer " + cloud_token},
        .body = {},
    };
    system::RestTransfer transfer;
    if (!transfer) return {failed(E_CMD_FAILED, "Failed to init CURL for org query"), "CURL init failed"};
    if (transfer.send(request, response) != 0) {
        Logger::Log(ERROR, "Failed to query organization info: %s", request.url.c_str());
        return {E_CMD_FAILED, "Failed org info query"};
    }
    Logger::Log(DEBUG, "response_str: %s", response.c_str());
    return {E_SUCCESS, nullptr};
}

}  // namespace

bool is_corvane_token_fresh(int64_t now_s, int64_t last_seen_s) {
    // Compared this way round so that no stored number can overflow the difference.
    return last_seen_s > now_s - kTokenLifetime_s;
}

int Get_corvanetoken(const std::string& org_id, std::string& token) {
    const Renewal::Arrival arrival(token_renewal());
    // A fresh token waits for no cloud.
    return read_last_seen().is_fresh() ? read_fresh_token(token) : renewed_token(arrival, org_id, token);
}

int Get_corvanetoken(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_corvanetoken");
    const std::string_view bytes = request_bytes(io);
    if (bytes.empty()) {
        return send_error_response(io, failed(E_CMD_FAILED, "No data received from bs_io"), "No input data");
    }
    const JsonOwner request = parse_document(bytes, "Failed to parse input JSON");
    if (!request) return send_error_response(io, E_CMD_FAILED, "Invalid JSON input");
    const json_t* org_id = json_object_get(request.get(), "orgId");
    if (!json_is_string(org_id)) {
        return send_error_response(io, failed(E_CMD_FAILED, "orgId is missing or not a string in input JSON"),
                                   "Missing or invalid orgId in input");
    }
    std::string token;
    if (Get_corvanetoken(std::string(json_string_value(org_id), json_string_length(org_id)), token) != E_SUCCESS) {
        return refuse(io, E_CMD_FAILED, "Failed to get corvane token");
    }
    return send_success_response(io, json_stringn(token.data(), token.size()));
}

int Update_org_name(bs_io* io) {
    Logger::Log(DEBUG, "Entering Update_org_name");
    std::string org_id;
    if (corvane::read_setting(corvane::kOrgId, org_id) != 0 || org_id.empty()) {
        return send_error_response(io, failed(E_CMD_FAILED, "Failed to get CORVANE_ORG_ID from corvane.conf"),
                                   "Missing CORVANE_ORG_ID");
    }
    std::string response;
    std::string name;
    Refusal refusal = query_org(org_id, response);
    if (refusal.message == nullptr) refusal = read_org_name(response, name);
    if (refusal.message != nullptr) return send_error_response(io, refusal.code, refusal.message);
    if (corvane::write_setting(corvane::kOrgName, name) != 0) {
        // Without a reply: the caller sees its connection closed.
        return failed(E_CMD_FAILED, "Failed to set CORVANE_ORG_NAME in corvane.conf");
    }
    Logger::Log(DEBUG, "Successfully set CORVANE_ORG_NAME to %s in corvane.conf", name.c_str());
    return send_success_response(io, json_stringn(name.data(), name.size()));
}

}  // namespace harbex::service
