#include "corvane/cloud/org_center.h"

#include <jansson.h>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/http.h"
#include "common/json_owner.h"
#include "common/trace_log.h"
#include "corvane/cloud/account_token.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr const char* kOrganizationPath = "/v1.2/organization";
constexpr const char* kAccept = "accept: application/json";
constexpr const char* kFirstOrganization = "My Organization";
constexpr const char* kNoJson = "Failed to parse JSON";

// The "code" of an answer as text: "0" means success only as a number.
bool is_success(const json_t* code, std::string& text) {
    if (json_is_integer(code)) text = std::to_string(json_integer_value(code));
    if (json_is_string(code)) text = json_string_value(code);
    return json_is_integer(code) && json_integer_value(code) == 0;
}

int read_created_id(const std::string& response, std::string& organization_id) {
    const JsonOwner root = parse_or_log(response, kNoJson);
    if (!root) return ERR_CURL_FAIL;
    std::string code;
    if (!is_success(json_object_get(root.get(), "code"), code)) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to create organization, code: %s\n", code.c_str());
        return ERR_CURL_FAIL;
    }
    const json_t* result = json_object_get(root.get(), "result");
    if (!json_is_object(result)) return fail(ERR_WRONG_JSON_FORMAT, "Failed to get result object");
    if (take_text(json_object_get(result, "organization_id"), organization_id)) return NO_ERROR;
    return fail(ERR_WRONG_JSON_FORMAT, "organization_id not found or not a string");
}

// The list entry of one organisation; the values are copied as they are, of whatever type.
json_t* list_entry(const json_t* name, const json_t* id, bool is_default) {
    return json_pack("{s:o, s:o, s:b}", "name", json_deep_copy(name), "organization_id", json_deep_copy(id),
                     "is_default", is_default ? 1 : 0);
}

int append(json_t* list, json_t* entry) {
    return json_array_append_new(list, entry) == 0 ? NO_ERROR : ERR_WRONG_JSON_FORMAT;  // else no memory
}

int append_first_organization(json_t* list) {
    HARBEXLOG(HARBEXLOG_INFO, "No organization found, create a new one\n");
    std::string id;
    if (create_organization(kFirstOrganization, id) != NO_ERROR)
        return fail(ERR_CURL_FAIL, "Failed to create organization");
    const JsonOwner name(json_string(kFirstOrganization));
    const JsonOwner id_text(json_stringn(id.data(), id.size()));
    return append(list, list_entry(name.get(), id_text.get(), true));
}

int append_organizations(const json_t* organizations, json_t* list) {
    size_t index = 0;
    json_t* organization = nullptr;
    json_array_foreach(organizations, index, organization) {
        const json_t* name = json_object_get(organization, "name");
        const json_t* id = json_object_get(organization, "organization_id");
        if (name == nullptr || id == nullptr)
            return fail(ERR_WRONG_JSON_FORMAT, "Failed to get name or organization_id");
        const bool is_default =
            json_is_true(json_object_get(json_object_get(organization, "created_by"), "is_default"));
        if (const int result = append(list, list_entry(name, id, is_default)); result != NO_ERROR) return result;
    }
    return NO_ERROR;
}

int fetch_organizations(std::string& response) {
    system::RestRequest request{.method = system::HttpMethod::kGet,
                                .url = get_org_center_api_url(kOrganizationPath),
                                .headers = {kAccept},
                                .body = {}};
    std::string token;
    if (get_cloudtoken(token) != NO_ERROR) return fail(ERR_CORVANE_GETCLOUDTOKEN, "Failed to get cloud token");
    request.headers.push_back("Authorization: Bearer " + token);
    system::RestTransfer transfer;
    if (!transfer) return fail(ERR_CURL_FAIL, "Failed to initialize CURL");
    if (const int result = transfer.send(request, response); result != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to fetch organization list, easycurl error: %d\n", result);
        return ERR_CURL_FAIL;
    }
    HARBEXLOG(HARBEXLOG_INFO, "Organization list API response: %s\n", response.c_str());
    return NO_ERROR;
}

// The site id in what the account tool printed.
int read_site_id(const std::string& output, std::string& site_id) {
    const JsonOwner root = parse_or_log(output, kNoJson);
    if (!root) return ERR_WRONG_JSON_FORMAT;
    const json_t* first = json_array_get(json_object_get(root.get(), "result"), 0);
    if (first == nullptr) return fail(ERR_WRONG_JSON_FORMAT, "No results found in JSON response");
    if (take_text(json_object_get(first, "organization_site_id"), site_id)) return NO_ERROR;
    return fail(ERR_WRONG_JSON_FORMAT, "organization_site_id not found or invalid");
}

}  // namespace

int create_organization(const std::string& name, std::string& organization_id) try {
    const std::string url = get_org_center_api_url(kOrganizationPath);
    std::string token;
    if (get_cloudtoken(token) != NO_ERROR) return fail(ERR_CORVANE_GETCLOUDTOKEN, "Failed to get cloud token");
    system::RestTransfer transfer;
    if (!transfer) return fail(ERR_CURL_FAIL, "Failed to initialize CURL");
    const system::RestRequest request{
        .method = system::HttpMethod::kPost,
        .url = url,
        .headers = {kAccept, "Authorization: Bearer " + token, "Content-Type: application/json"},
        .body = "{\"name\": \"" + name + "\", \"size\": \"5~9\"}",  // the name is not escaped; the cloud knows it so
    };
    std::string response;
    const int result = transfer.send(request, response);
    HARBEXLOG(HARBEXLOG_INFO, "Create organization API response: %s\n", response.c_str());
    if (result != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to create organization, easycurl error: %d\n", result);
        return ERR_CURL_FAIL;
    }
    return read_created_id(response, organization_id);
} catch (...) {
    return short_of_memory();
}

int get_organization_list(JsonValue& list_out) try {
    std::string response;
    if (const int result = fetch_organizations(response); result != NO_ERROR) return result;
    const JsonOwner root = parse_or_log(response, kNoJson);
    if (!root) return ERR_WRONG_JSON_FORMAT;
    const json_t* organizations = json_object_get(root.get(), "result");
    if (!json_is_array(organizations)) return fail(ERR_WRONG_JSON_FORMAT, "Failed to get result array");
    JsonOwner list(json_array());
    const int result = json_array_size(organizations) == 0 ? append_first_organization(list.get())
                                                           : append_organizations(organizations, list.get());
    if (result != NO_ERROR) return result;
    list_out = list.release();
    HARBEXLOG(HARBEXLOG_INFO, "Organization list fetched and parsed successfully\n");
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

int account_center_api_me(std::string& response) try {
    std::string token;
    if (get_cloudtoken(token) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get cloud token");
    HARBEXLOG(HARBEXLOG_INFO, "vellumToken: %s\n", token.c_str());
    const system::RestRequest request{.method = system::HttpMethod::kGet,
                                      .url = get_account_center_api_url("/v1.1/me"),
                                      .headers = {kAccept, "Authorization: Bearer " + token},
                                      .body = {}};
    HARBEXLOG(HARBEXLOG_INFO, "url: %s\n", request.url.c_str());
    system::RestTransfer transfer;
    if (!transfer) return fail(ERR_CURL_FAIL, "Failed to initialize CURL");
    const int result = transfer.send(request, response);
    HARBEXLOG(HARBEXLOG_INFO, "readBuffer_account_center_api_me: %s\n", response.c_str());
    switch (result) {
        case NO_ERROR:
            return NO_ERROR;
        case system::kCouldNotResolveHost:
            return fail(ERR_CURL_DNS_RESOLVE, "Could not resolve host");
        case system::kTransferTimedOut:
        case system::kCouldNotConnect:
            return fail(ERR_CURL_TIMEOUT, "Operation timed out");
        default:
            break;
    }
    HARBEXLOG(HARBEXLOG_ERROR, "CURL error: %s\n", system::transfer_result_text(result));
    return ERR_CURL_FAIL;
} catch (...) {
    return short_of_memory();
}

int set_corvane_bid_conf() try {
    std::string response;
    if (const int result = account_center_api_me(response); result != NO_ERROR) {
        return fail(result, "Failed to call account center api /v1.1/me");
    }
    const JsonOwner root = parse_or_log(response, kNoJson);
    if (!root) return ERR_WRONG_JSON_FORMAT;
    const json_t* record = json_object_get(root.get(), "result");
    if (!json_is_object(record)) return fail(ERR_WRONG_JSON_FORMAT, "JSON does not contain 'result' object");
    const std::string display_name = json_member_text(record, "display_name");
    const std::string email = json_member_text(record, "email");
    std::string site = json_member_text(record, "site");
    if (site == "GLOBAL") site = "GLB";
    if (display_name.empty() || email.empty() || site.empty()) {
        return fail(ERR_CMD_FAILED, "Failed to get display_name, email, site");
    }
    int result = write_setting(kBidDisplayName, display_name, "Failed to set display_name");
    if (result == NO_ERROR) result = write_setting(kBidEmails, email, "Failed to set email");
    return result == NO_ERROR ? write_setting(kBidRegion, site, "Failed to set site") : result;
} catch (...) {
    return short_of_memory();
}

int get_contact_email(std::string& email) try {
    constexpr const char* kNotRead = "Failed to run getcfg_wrapper command";
    std::string stored;
    if (read_setting(kBidEmails, stored, kNotRead) != NO_ERROR || stored.empty()) {
        if (set_corvane_bid_conf() != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to set corvane bid conf");
        stored.clear();
        // Says display name though the e-mail is meant; kept for those who search the logs.
        (void)read_setting(kBidEmails, stored, kNotRead);  // what counts is whether there is one
        if (stored.empty()) return fail(ERR_CMD_FAILED, "Failed to get bid display name");
    }
    email = stored;
    return NO_ERROR;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int set_site_id(const std::string& org_id) try {
    std::string token;
    if (get_cloudtoken(token) != NO_ERROR) return fail(ERR_CORVANE_GETCLOUDTOKEN, "Failed to get vellum token");
    HARBEXLOG(HARBEXLOG_ERROR, "orgId: %s, vellumToken: %s\n", org_id.c_str(), token.c_str());
    std::string output;
    // A tool that fails leaves no output, which then is no JSON.
    (void)system::do_exec_safe(
        {"/usr/local/bin/vellum_organization_tool", "get_organization_site_list", "-o", org_id, "-a", token}, output);
    std::string site_id;
    if (const int result = read_site_id(output, site_id); result != NO_ERROR) return result;
    return write_setting(kSiteId, site_id, "Failed to set site id");
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
