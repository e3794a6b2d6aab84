// Joins the chosen organisation.
#include "commands.h"
#include "common/error_code.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/cloud/registration.h"
#include "corvane/device/agent.h"
#include "corvane/device/gateway.h"
#include "corvane/device/settings.h"
#include "facts.h"
#include "failure_cause.h"
#include "services.h"
#include "steps.h"

namespace harbex::tools {
namespace {

constexpr const char* kAutoRegion = "auto";
constexpr const char* kNamesRegion = "Name the region that was chosen";
constexpr const char* kStoresTables = "Store the routing tables";
constexpr const char* kStartsEdge = "Start the edge daemon";
constexpr const char* kStartsAgent = "Start the cloud agent";

// The parts of the enrolment, and the code that tells that it ended in that part.
struct Part {
    const char* name;
    int code;
};
constexpr Part kEnrolment[] = {
    {"Get the account token from the daemon", ERR_CORVANE_GETCLOUDTOKEN},
    {"Log in at the cloud as an edge; take its address", ERR_CORVANEAPI_EDGE},
    {"Store the serial number", ERR_SAVE_CONFIG},
    {"Get the regions", ERR_CORVANEAPI_VPN_GROUPS},
    {"Get the device's record and the agent's configuration", ERR_CORVANEAPI_DEVICES},
    {"Read the device's token", ERR_CORVANE_GETDEVICE_TOKEN},
    {"Mark this NAS as joined", ERR_CMD_FAILED},
};

Outcome enrolment_failed(int code) {
    Outcome outcome = code;
    bool is_behind = false;
    for (const Part& part : kEnrolment) {
        is_behind = is_behind || part.code == code;
        (is_behind ? outcome.cause.undone : outcome.cause.done).emplace_back(part.name);
    }
    return outcome;
}

// "auto" is the name only as long as the cloud's topology has not decided.
int name_resolved_region() {
    std::string id;
    std::string name;
    (void)corvane::get_region_name(name);  // always NO_ERROR
    if (name != kAutoRegion || corvane::get_region_id(id) != NO_ERROR || id == kAutoRegion) return NO_ERROR;
    return corvane::set_region_id(id, id);
}

Outcome show_plan_of_join(Call& call, const Enrolment& enrolment) {
    const std::string conf = std::string(system::kCorvaneConf) + ": ";
    const std::string bid = std::string(system::kBidConf) + ": ";
    const std::string devices = corvane::get_corvane_api_url("/cvnms/bthings/api/v1/devices/ID");
    std::string path;
    (void)corvane::get_install_path(path);  // what cannot be read is left out of the paths
    std::vector<PlannedStep> plan;
    if (!enrolment.token.is_present) plan.push_back({"first", "harbexctl sign-in"});
    if (enrolment.org_id.value_or("").empty()) plan.push_back({"first", "harbexctl org use ID"});
    const std::vector<PlannedStep> steps = {
        token_renewal(),
        {"request", "GET " + corvane::get_account_center_api_url("/v1.1/me") + " (when no e-mail is stored)"},
        {"write", bid + corvane::kBidDisplayName.key + ", " + corvane::kBidEmails.key + ", " +
                      corvane::kBidRegion.key + " (then, too)"},
        {"request", "POST " + corvane::get_corvane_api_url("/cvnms/bthings/api/v1/edge")},
        {"request", "POST " + corvane::get_corvane_api_url("/corvane/bthings/api/v1/ip_subnet_check") +
                        " (when the address clashes)"},
        {"write", conf + corvane::kVirtualIp.key + ", " + corvane::kSerialNumber.key},
        {"request", "GET " + corvane::get_corvane_api_url("/corvane/bthings/api/v1/vpn_topology")},
        {"write", conf + corvane::kRegionId.key + ", " + corvane::kRegionName.key + " (when the region is auto)"},
        {"request", "GET " + devices},
        {"request", "GET " + devices + "/cloudagent_cfg?format=json"},
        {"write", "/etc/config/harbex/cloudagent.cfg, and a link to it at " + path + system::kAgentConfiguration},
        {"write", bid + corvane::kBidTokenStatus.key},
        {"write", conf + corvane::kRouterTable.key + ", " + corvane::kSupernodeTable.key},
        {"script", std::string(corvane::kExpressScript) + " start"},
        {"write", path + "/etc/system/system_setting.json"},
        {"script", std::string(corvane::kAgentScript) + " start"},
    };
    plan.insert(plan.end(), steps.begin(), steps.end());
    return show_plan(call, plan);
}

// What is missing before anybody is asked; NO_ERROR when nothing is.
Outcome check_preconditions(const Enrolment& enrolment) {
    if (Outcome without = check_service(system::kNetworkService, ERR_CORVANE_GETCLOUDTOKEN); without.code != NO_ERROR)
        return without;
    if (enrolment.token.is_known && !enrolment.token.is_present)
        return {ERR_CORVANE_GETCLOUDTOKEN, Cause{.ending = Ending::kNotSignedIn,
                                                 .sentence = "Nobody is signed in at this NAS.",
                                                 .remedy = "sign in: harbexctl sign-in"}};
    if (enrolment.org_id && enrolment.org_id->empty())
        return {ERR_CORVANEAPI_EDGE, Cause{.ending = Ending::kNothingChosen,
                                           .sentence = "No organisation is chosen.",
                                           .remedy = "choose one: harbexctl org list, then harbexctl org use ID"}};
    return NO_ERROR;
}

// What the agents need to run, and their start.
Outcome start_agents(Steps& steps) {
    steps.begin();
    if (const int result = name_resolved_region(); result != NO_ERROR) return result;
    steps.begin();
    if (const int result = corvane::set_corvane_express_cfg(); result != NO_ERROR) return result;
    steps.begin();
    if (corvane::invoke_corvane_express("start") != 0) return ERR_CORVANE_CORVANE_EXPRESS_SCRIPT;
    steps.begin();
    if (corvane::invoke_cloudagent("start") != 0) return ERR_CORVANE_CLOUDAGENT_SCRIPT;
    return NO_ERROR;
}

Outcome enrol_and_start(Call& call) {
    Steps steps({"Enrol this NAS at the cloud", kNamesRegion, kStoresTables, kStartsEdge, kStartsAgent}, call);
    JsonValue enrolment;  // holds a token, which is not for the screen
    steps.begin();
    const int enrolled = corvane::device_register(enrolment);
    Outcome outcome = enrolled == NO_ERROR ? start_agents(steps) : enrolment_failed(enrolled);
    if (outcome.code == NO_ERROR) return outcome;
    outcome.cause = steps.failed(outcome.cause);
    // The enrolment is done and marked: another join would find nothing to do.
    if (enrolled == NO_ERROR)
        outcome.cause.remedy =
            "look into the log, then: harbexctl agent start (or take it out again: harbexctl leave)";
    return outcome;
}

}  // namespace

Outcome join(Call& call) {
    const Enrolment enrolment = read_enrolment();
    const bool has_joined = enrolment.is_marked && enrolment.is_on_corvane.value_or(false);
    if (has_joined) {
        call.data["changed"] = false;
        call.data["virtual_ip"] = enrolment.virtual_ip.value_or("");
        call.text = "This NAS has joined already; nothing was changed.\n";
        return NO_ERROR;
    }
    if (call.has("--dry-run")) return show_plan_of_join(call, enrolment);
    if (Outcome missing = check_preconditions(enrolment); missing.code != NO_ERROR) return missing;
    if (Outcome outcome = enrol_and_start(call); outcome.code != NO_ERROR) return outcome;
    std::string virtual_ip;
    if (const int result = corvane::get_virtual_ip(virtual_ip); result != NO_ERROR) return result;
    call.data["changed"] = true;
    call.data["virtual_ip"] = virtual_ip;
    call.text = "This NAS has joined; its address is " + virtual_ip + ".\n";
    return NO_ERROR;
}

// For a join whose last steps failed.
Outcome agent_start(Call& call) {
    if (!read_enrolment().is_on_corvane.value_or(false)) return not_joined(ERR_CORVANE_GETDEVICE_ID);
    Steps steps({kNamesRegion, kStoresTables, kStartsEdge, kStartsAgent}, call);
    Outcome outcome = start_agents(steps);
    if (outcome.code != NO_ERROR) outcome.cause = steps.failed(outcome.cause);
    return outcome;
}

}  // namespace harbex::tools
