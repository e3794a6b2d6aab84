#include "corvane/cloud/edge_login.h"

#include "common/error_code.h"
#include "common/http.h"
#include "common/trace_log.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/cloud/org_center.h"
#include "corvane/device/failure.h"
#include "corvane/device/gateway.h"
#include "corvane/device/identity.h"
#include "corvane/device/nas_probe.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr const char* kGlobalRegion = "GLB";

// What the NAS says about itself.
struct EdgeFacts {
    std::string email;
    std::string contact;
    std::string region;
    std::string host_name;
    std::string model;
    std::string mac;
    std::string serial;
    std::string org_id;
    std::string site_id;
    std::string region_id;
    std::string timezone;
};

bool read_present(const Setting& setting, std::string& value) {
    return read_setting(setting, value) == NO_ERROR && !value.empty();
}

// Stops at the first fact that cannot be had; null when all are there, else what to say.
const char* gather(EdgeFacts& facts) {
    if (get_contact_email(facts.email) != NO_ERROR) return "Failed to get contact email";
    if (get_contact(facts.contact) != NO_ERROR) return "Failed to get contact";
    if (get_global_or_china(facts.region) != NO_ERROR) return "Failed to get global or cn";
    if (get_host_name(facts.host_name) != NO_ERROR) return "Failed to get device name";
    if (get_nas_model_name(facts.model) != NO_ERROR) return "Failed to get nas model name";
    if (get_eth0_mac(facts.mac) != NO_ERROR) return "Failed to get gateway mac";
    if (get_hwsn(facts.serial) != NO_ERROR) return "Failed to get hwsn";
    if (!read_present(kOrgId, facts.org_id)) return "Failed to get brindle org id";
    if (!read_present(kSiteId, facts.site_id)) return "Failed to get brindle site id";
    if (read_setting(kRegionId, facts.region_id) != NO_ERROR) return "Failed to get corvane region id";
    facts.timezone = get_timezone();
    return nullptr;
}

// Byte for byte what the cloud expects, the missing blank before "locationAddress" included; the values are not
// escaped.
std::string edge_body(const EdgeFacts& facts) {
    std::string body;
    body.append("{\"deviceName\": \"").append(facts.host_name);
    body.append("\", \"contact\": \"").append(facts.contact);
    body.append("\", \"contactEmail\": \"").append(facts.email);
    body.append("\", \"modelId\": 11, \"subModelName\": \"").append(facts.model);
    body.append("\",\"locationAddress\": \"\", \"timezone\": \"").append(facts.timezone);
    body.append("\", \"regionId\": ").append(facts.region == kGlobalRegion ? "0" : "1");
    body.append(", \"licenseId\": \"\", \"country\": \"\", \"identifyMac\": \"").append(facts.mac);
    body.append("\", \"identifySN\": \"").append(facts.serial);
    body.append("\", \"identifySid\": \"\", \"brindleOrgId\": \"").append(facts.org_id);
    body.append("\", \"brindleSiteId\": \"").append(facts.site_id);
    body.append("\", \"corvaneRegionId\": \"").append(facts.region_id);
    body.append("\", \"deviceRole\": \"edge\"}");
    return body;
}

}  // namespace

int corvane_api_edge(const std::string& token, std::string& response) try {
    system::RestRequest request{
        .method = system::HttpMethod::kPost,
        .url = get_corvane_api_url("/cvnms/bthings/api/v1/edge"),
        .headers = {"vellumToken: " + token, "Content-Type: application/json"},
        .body = {},
    };
    system::RestTransfer transfer;
    if (transfer.honour_insecure_switch() != NO_ERROR) HARBEXLOG(HARBEXLOG_WARN, "Failed to set insecure curl\n");
    EdgeFacts facts;
    if (const char* missing = gather(facts)) return fail(ERR_CMD_FAILED, missing);
    request.body = edge_body(facts);
    HARBEXLOG(HARBEXLOG_INFO, "corvane_api_edge jsonData is %s\n", request.body.c_str());
    if (transfer.send(request, response) != NO_ERROR) return ERR_CORVANEAPI_EDGE;
    HARBEXLOG(HARBEXLOG_INFO, "readBuffer_edge is %s\n", response.c_str());
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
