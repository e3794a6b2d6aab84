// Takes this NAS out of its organisation.
#include <time.h>

#include "account_token.h"
#include "commands.h"
#include "common/error_code.h"
#include "common/last_exchange.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/cloud/unregistration.h"
#include "corvane/device/agent.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"
#include "facts.h"
#include "failure_cause.h"
#include "services.h"
#include "steps.h"

namespace harbex::tools {
namespace {

constexpr long kNotFound = 404;
constexpr const char* kLocally = "without the cloud: harbexctl leave --local";
// Arguments of the agent's script.
constexpr const char* kRemoveInterface = "remove_dummy_interface";
constexpr const char* kStopAndRemove = "stop_and_remove_corvane_configs";

// Whether the cloud, asked to delete this device by somebody it knows, said that there is none.
bool is_gone_from_cloud(int result) {
    const system::LastExchange& deletion = system::last_exchange();
    return result == ERR_HTTP_ERROR && deletion.kind == system::LastExchange::Kind::kTransfer &&
           deletion.status == kNotFound && read_account_token().is_valid(time(nullptr));
}

// Deletes the device in the cloud. One that the cloud does not know any more counts as deleted: an earlier leave got
// that far, or it was deleted there.
Outcome unregister() {
    JsonValue answer;
    const int result = corvane::device_unregister(answer);
    if (is_gone_from_cloud(result)) {
        system::forget_last_exchange();  // it was no failure
        return corvane::write_setting(corvane::kBidTokenStatus, "");
    }
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

std::string script(const char* path, const char* argument) {
    return std::string(path) + " " + argument;
}

Outcome show_plan_of_leave(Call& call, const std::string& device_id) {
    using corvane::kAgentScript;
    using corvane::kExpressScript;
    const std::string mark = std::string(system::kBidConf) + ": " + corvane::kBidTokenStatus.key;
    if (call.has("--local"))
        return show_plan(call, {{"script", script(kAgentScript, kRemoveInterface)},
                                {"script", script(kAgentScript, kStopAndRemove)},
                                {"script", script(kExpressScript, "stop")},
                                {"write", mark}});
    return show_plan(
        call, {token_renewal(),
               {"request", "POST " + corvane::get_corvane_api_url("/cvnms/nmsuser/api/v1/edge/login") +
                               " (when the SD-WAN token is missing or a day old)"},
               {"request", "DELETE " + corvane::get_corvane_api_url("/cvnms/bthings/api/v1/devices/" + device_id)},
               {"write", mark},
               {"script", script(kExpressScript, "stop")},
               {"script", script(kAgentScript, kRemoveInterface)},
               {"script", script(kAgentScript, "stop")},
               {"script", script(kAgentScript, "remove_corvane_configs")}});
}

// As the daemon does when the cloud removes the device: only the edge daemon's stop decides, and what is left of the
// agent's configuration.
Outcome leave_locally(Call& call, const Enrolment& enrolment, const std::string& device_id) {
    Steps steps({"Remove the agent's interface", "Stop the agent and remove its configuration",
                 "Stop the edge daemon", "Clear the mark of the enrolment"},
                call);
    steps.begin();
    (void)corvane::invoke_cloudagent(kRemoveInterface);  // logged; it may be gone already
    steps.begin();
    (void)corvane::invoke_cloudagent(kStopAndRemove);
    const auto failed = [&](int code, const char* sentence) {
        return Outcome(code, steps.failed({.ending = Ending::kFailed,
                                           .sentence = sentence,
                                           .remedy = "look into the log, then type the command again"}));
    };
    if (read_enrolment().is_on_corvane.value_or(true))
        return failed(ERR_CORVANE_CLOUDAGENT_SCRIPT, "The agent's script did not remove its configuration.");
    steps.begin();
    if (corvane::invoke_corvane_express("stop") != 0)
        return failed(ERR_CORVANE_CORVANE_EXPRESS_SCRIPT, "The edge daemon's script did not stop it.");
    steps.begin();
    if (enrolment.is_marked && corvane::write_setting(corvane::kBidTokenStatus, "") != NO_ERROR)
        return failed(ERR_CMD_FAILED, "The mark of the enrolment cannot be cleared.");
    call.data["changed"] = true;
    JsonValue& left = call.data["left_in_cloud"];
    left["device_id"] = device_id;
    left["organization_id"] = enrolment.org_id.value_or("");
    call.text = "This NAS is out. In the cloud the device " + device_id + " stays in the organisation " +
                enrolment.org_id.value_or("") + " until somebody deletes it there.\n";
    return NO_ERROR;
}

Outcome leave_through_cloud(Call& call) {
    if (Outcome without = check_service(system::kNetworkService, ERR_CORVANE_GETCLOUDTOKEN);
        without.code != NO_ERROR) {
        without.cause.remedy += "; or " + std::string(kLocally);
        return without;
    }
    Steps steps(
        {"Delete the device in the cloud", "Stop the edge daemon and the agent", "Remove the agent's configuration"},
        call);
    steps.begin();
    if (Outcome deleted = unregister(); deleted.code != NO_ERROR) {
        deleted.cause = steps.failed({.remedy = std::string("repeat it, or ") + kLocally});
        return deleted;
    }
    steps.begin();
    corvane::stop_corvane_services();
    steps.begin();
    if (const int result = corvane::remove_corvane_configs(); result != NO_ERROR)
        return {result, steps.failed({.ending = Ending::kFailed,
                                      .sentence = "The agent's script did not remove its configuration.",
                                      .remedy = "look into the log, then type the command again"})};
    call.data["changed"] = true;
    call.text = "This NAS has left.\n";
    return NO_ERROR;
}

}  // namespace

Outcome leave(Call& call) {
    const Enrolment enrolment = read_enrolment();
    if (!enrolment.is_on_corvane.value_or(true)) {
        call.data["changed"] = false;
        call.text = "This NAS has not joined; nothing was changed.\n";
        return NO_ERROR;
    }
    const std::string device_id = corvane::get_device_id();
    if (call.has("--dry-run")) return show_plan_of_leave(call, device_id);
    return call.has("--local") ? leave_locally(call, enrolment, device_id) : leave_through_cloud(call);
}

Outcome agent_stop(Call& call) {
    Steps steps({"Stop the edge daemon and the agent"}, call);
    steps.begin();
    corvane::stop_corvane_services();  // always NO_ERROR; what fails is in the log
    return NO_ERROR;
}

}  // namespace harbex::tools
