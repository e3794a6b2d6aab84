#include "commands.h"

#include <jansson.h>

#include <time.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "account_token.h"
#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/last_exchange.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/org_center.h"
#include "corvane/cloud/precheck.h"
#include "corvane/cloud/region_list.h"
#include "corvane/cloud/registration.h"
#include "corvane/cloud/status.h"
#include "corvane/cloud/supernode_usage.h"
#include "corvane/cloud/unregistration.h"
#include "corvane/device/agent.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"
#include "corvane/device/supernode.h"
#include "eventlog/event_log.h"

namespace harbex::tools {
namespace {

using Arguments = std::vector<std::string>;

constexpr long kNotFound = 404;
constexpr const char* kAutoRegion = "auto";
constexpr size_t kMaxInput = size_t{1} << 20;  // what a bus call takes

constexpr corvane::BusQuery kSaveToken{
    .service = "harbex_network_service", .method = "Save_cloudtoken", .check_envelope = true};
constexpr corvane::BusQuery kRefreshToken{
    .service = "harbex_network_service", .method = "Refresh_cloudtoken", .check_envelope = true};

int query(const corvane::BusQuery& call, const json_t* arguments = nullptr) {
    switch (corvane::query_service(call, arguments).stopped_at) {
        case corvane::BusStep::kDone:
            return NO_ERROR;
        case corvane::BusStep::kCheck:
            return ERR_BS_API_RET_ERROR;
        default:
            return ERR_BS_CALL_FAILED;
    }
}

struct FileClose {
    void operator()(FILE* file) const { std::fclose(file); }
};

// All of a file, or of standard input for "-" and "". What stands in the file's place is not echoed: it may be the
// sign-in answer itself, typed by mistake.
int read_all(const std::string& path, std::string& text) {
    const bool is_standard_input = path.empty() || path == "-";
    const std::unique_ptr<FILE, FileClose> opened(is_standard_input ? nullptr : std::fopen(path.c_str(), "re"));
    FILE* const file = is_standard_input ? stdin : opened.get();
    char bytes[4096];
    for (size_t count = 1; file != nullptr && count != 0 && text.size() <= kMaxInput;) {
        count = std::fread(bytes, 1, sizeof bytes, file);
        text.append(bytes, count);
    }
    if (file != nullptr && std::ferror(file) == 0 && text.size() <= kMaxInput) return NO_ERROR;
    if (text.size() > kMaxInput) errno = EFBIG;
    std::fprintf(stderr, "harbexctl: the file cannot be read: %s\n", strerror(errno));
    return ERR_REGULAR_FILE;
}

Outcome status(const Arguments&, JsonValue& data) {
    return corvane::get_corvane_status(data);
}

Outcome precheck(const Arguments&, JsonValue& data) {
    return corvane::join_corvane_precheck(data);
}

// Asks the daemon itself rather than through save_vellum_token, which does not look at its answer.
Outcome sign_in(const Arguments& arguments, JsonValue&) {
    std::string encoded;
    if (const int result = read_all(arguments[0], encoded); result != NO_ERROR) return result;
    encoded.erase(encoded.find_last_not_of(" \t\r\n") + 1);
    const JsonOwner request(json_pack("{s:s%}", "oauth_response_encoded", encoded.data(), encoded.size()));
    if (!request) return ERR_WRONG_JSON_FORMAT;
    if (const int result = query(kSaveToken, request.get()); result != NO_ERROR) return result;
    // The SD-WAN token may be the former user's, or revoked; without this it would be served for a day.
    return corvane::invalidate_corvanetoken();
}

Outcome token_refresh(const Arguments&, JsonValue&) {
    return query(kRefreshToken);
}

Outcome org_list(const Arguments&, JsonValue& data) {
    return corvane::get_organization_list(data);
}

Outcome org_create(const Arguments& arguments, JsonValue& data) {
    std::string id;
    const int result = corvane::create_organization(arguments[0], id);
    if (result == NO_ERROR) data["organization_id"] = id;
    return result;
}

// The mark in the account's settings stays when the cloud removes this NAS; the device id does not.
bool is_joined() {
    return !corvane::get_device_id().empty();
}

// The site comes first: it is asked of the cloud, so that an id that is none changes nothing.
Outcome org_use(const Arguments& arguments, JsonValue&) {
    std::string joined_to;
    if (is_joined() && (corvane::get_org_id(joined_to) != NO_ERROR || joined_to != arguments[0])) return ERR_ACCESS;
    const int result = corvane::set_site_id(arguments[0]);
    if (result != NO_ERROR) return result;
    const int stored = corvane::set_org_id(arguments[0], arguments[1].empty() ? arguments[0] : arguments[1]);
    return stored != NO_ERROR ? stored : corvane::invalidate_corvanetoken();  // it was the former organisation's
}

Outcome region_list(const Arguments&, JsonValue& data) {
    std::string org_id;
    if (const int result = corvane::get_org_id(org_id); result != NO_ERROR) return result;
    if (org_id.empty()) return ERR_MISS_OPTION;
    return corvane::get_region_list(data, org_id);
}

Outcome region_use(const Arguments& arguments, JsonValue&) {
    return corvane::set_region_id(arguments[0], arguments[1].empty() ? arguments[0] : arguments[1]);
}

// "auto" is the name only as long as the cloud's topology has not decided.
int name_resolved_region() {
    std::string id;
    std::string name;
    (void)corvane::get_region_name(name);  // always NO_ERROR
    if (name != kAutoRegion || corvane::get_region_id(id) != NO_ERROR || id == kAutoRegion) return NO_ERROR;
    return corvane::set_region_id(id, id);
}

// Enrols the NAS and starts what then runs on it.
Outcome join(const Arguments&, JsonValue& data) {
    JsonValue enrolment;  // holds a token, which is not for the screen
    if (const int result = corvane::device_register(enrolment); result != NO_ERROR) return result;
    if (const int result = name_resolved_region(); result != NO_ERROR) return result;
    if (const int result = corvane::set_corvane_express_cfg(); result != NO_ERROR) return result;
    if (corvane::invoke_corvane_express("start") != 0) return ERR_CORVANE_CORVANE_EXPRESS_SCRIPT;
    if (corvane::invoke_cloudagent("start") != 0) return ERR_CORVANE_CLOUDAGENT_SCRIPT;
    std::string virtual_ip;
    if (const int result = corvane::get_virtual_ip(virtual_ip); result != NO_ERROR) return result;
    data["virtual_ip"] = virtual_ip;
    return NO_ERROR;
}

// Whether the cloud, asked to delete this device by somebody it knows, said that there is none.
bool is_gone_from_cloud(int result) {
    const system::LastExchange& deletion = system::last_exchange();
    return result == ERR_HTTP_ERROR && deletion.kind == system::LastExchange::Kind::kTransfer &&
           deletion.http_status == kNotFound && read_account_token().is_valid(time(nullptr));
}

// Deletes the device in the cloud.
Outcome unregister() {
    JsonValue answer;
    const int result = corvane::device_unregister(answer);
    if (is_gone_from_cloud(result)) return corvane::write_setting(corvane::kBidTokenStatus, "");
    switch (result) {
        case NO_ERROR:
        case ERR_EASYCURL_FAIL:
        case ERR_CORVANE_GETCLOUDTOKEN:
        case ERR_CORVANE_GETCORVANETOKEN:
        case ERR_CORVANE_GETDEVICE_ID:
        case ERR_HTTP_ERROR:
            return result;
        default:
            return {result, CodeOf::kTransfer};
    }
}

// A device that the cloud does not know any more is taken down all the same: an earlier leave got that far, or it was
// deleted there.
Outcome leave(const Arguments&, JsonValue&) {
    if (const Outcome deleted = unregister(); deleted.code != NO_ERROR) return deleted;
    corvane::stop_corvane_services();
    return corvane::remove_corvane_configs();
}

Outcome virtual_ip_set(const Arguments& arguments, JsonValue&) {
    return corvane::modify_virtual_ip(arguments[0]);
}

Outcome supernode_usage(const Arguments&, JsonValue& data) {
    return corvane::bsh_get_supernode_remaining(data);
}

Outcome supernode_devices(const Arguments&, JsonValue& data) {
    return corvane::bsh_get_supernode_devices(data);
}

Outcome supernode_traffic(const Arguments&, JsonValue& data) {
    return corvane::bsh_supernode_recent_billing_daily_traffic(data);
}

Outcome supernode_apply(const Arguments& arguments, JsonValue&) {
    std::string record;
    const int result = read_all(arguments[0], record);
    return result != NO_ERROR ? result : corvane::parse_supernode(record);
}

Outcome tour_show(const Arguments&, JsonValue& data) {
    return corvane::feature_tour_show(data);
}

Outcome tour_set(const Arguments& arguments, JsonValue&) {
    return corvane::feature_tour_set(arguments[0].c_str(), arguments[1].c_str());
}

Outcome event_add(const Arguments& arguments, JsonValue&) {
    system::add_log(arguments[0], 0);  // the event log reports nothing back
    return NO_ERROR;
}

Outcome internet(const Arguments& arguments, JsonValue& data) {
    const std::string ifname = arguments[0].empty() ? corvane::get_gateway_interface_name() : arguments[0];
    const int result = corvane::bsh_check_access_internet(ifname);
    data["interface"] = ifname;
    data["reachable"] = result == NO_ERROR;
    return result;
}

constexpr Group kGroups[] = {
    {"token", "The cloud account token"},
    {"org", "The user's organisations"},
    {"region", "The regions of the chosen organisation"},
    {"virtual-ip", "This NAS's address in the SD-WAN"},
    {"supernode", "The super node"},
    {"tour", "The feature tour of the application's pages"},
    {"event", "The system event log"},
};

const Command kCommands[] = {
    {"", "status", "Where this NAS stands in its organisation", {}, status},
    {"", "precheck", "Whether this NAS is ready to join; removes an unfinished sign-in", {}, precheck},
    {"",
     "sign-in",
     "Hand the cloud's encoded sign-in answer to the daemon, from FILE or standard input",
     {"[FILE]"},
     sign_in},
    {"token", "refresh", "Renew the cloud account token now", {}, token_refresh},
    {"org", "list", "The user's organisations", {}, org_list},
    {"org", "create", "Create an organisation", {"NAME"}, org_create},
    {"org", "use", "Choose the organisation to join", {"ID", "[NAME]"}, org_use},
    {"region", "list", "The chosen organisation's regions", {}, region_list},
    {"region",
     "use",
     "Choose the region to join; \"auto\" lets the cloud's topology decide",
     {"ID", "[NAME]"},
     region_use},
    {"", "join", "Join the chosen organisation and start the agents", {}, join},
    {"", "leave", "Leave the organisation and stop the agents", {}, leave},
    {"virtual-ip", "set", "Change this NAS's address in the SD-WAN", {"IP"}, virtual_ip_set},
    {"supernode", "usage", "What is left of the super node's volume", {}, supernode_usage},
    {"supernode", "devices", "The super node's devices", {}, supernode_devices},
    {"supernode", "traffic", "The super node's traffic, day by day", {}, supernode_traffic},
    {"supernode", "apply", "Write a super-node record's tunnel parameters", {"FILE"}, supernode_apply},
    {"tour", "show", "The switches of the feature tour", {}, tour_show},
    {"tour", "set", "Set the switches of the feature tour", {"INTRO", "TIP"}, tour_set},
    {"event", "add", "Write an entry to the system event log", {"TEXT"}, event_add},
    {"", "internet", "Whether the internet is reached", {"[INTERFACE]"}, internet},
};

}  // namespace

std::span<const Group> groups() {
    return kGroups;
}

std::span<const Command> commands() {
    return kCommands;
}

}  // namespace harbex::tools
