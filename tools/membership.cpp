// Join and leave.
#include <time.h>

#include "account_token.h"
#include "commands.h"
#include "common/error_code.h"
#include "common/last_exchange.h"
#include "corvane/cloud/registration.h"
#include "corvane/cloud/unregistration.h"
#include "corvane/device/agent.h"
#include "corvane/device/gateway.h"
#include "corvane/device/settings.h"

namespace harbex::tools {
namespace {

constexpr long kNotFound = 404;
constexpr const char* kAutoRegion = "auto";

// "auto" is the name only as long as the cloud's topology has not decided.
int name_resolved_region() {
    std::string id;
    std::string name;
    (void)corvane::get_region_name(name);  // always NO_ERROR
    if (name != kAutoRegion || corvane::get_region_id(id) != NO_ERROR || id == kAutoRegion) return NO_ERROR;
    return corvane::set_region_id(id, id);
}

// Whether the cloud, asked to delete this device by somebody it knows, said that there is none.
bool is_gone_from_cloud(int result) {
    const system::LastExchange& deletion = system::last_exchange();
    return result == ERR_HTTP_ERROR && deletion.kind == system::LastExchange::Kind::kTransfer &&
           deletion.status == kNotFound && read_account_token().is_valid(time(nullptr));
}

// Deletes the device in the cloud.
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

}  // namespace

// Enrols the NAS and starts what then runs on it.
Outcome join(Call& call) {
    JsonValue enrolment;  // holds a token, which is not for the screen
    if (const int result = corvane::device_register(enrolment); result != NO_ERROR) return result;
    if (const int result = name_resolved_region(); result != NO_ERROR) return result;
    if (const int result = corvane::set_corvane_express_cfg(); result != NO_ERROR) return result;
    if (corvane::invoke_corvane_express("start") != 0) return ERR_CORVANE_CORVANE_EXPRESS_SCRIPT;
    if (corvane::invoke_cloudagent("start") != 0) return ERR_CORVANE_CLOUDAGENT_SCRIPT;
    std::string virtual_ip;
    if (const int result = corvane::get_virtual_ip(virtual_ip); result != NO_ERROR) return result;
    call.data["virtual_ip"] = virtual_ip;
    return NO_ERROR;
}

// A device that the cloud does not know any more is taken down all the same: an earlier leave got that far, or it was
// deleted there.
Outcome leave(Call&) {
    if (Outcome deleted = unregister(); deleted.code != NO_ERROR) return deleted;
    corvane::stop_corvane_services();
    return corvane::remove_corvane_configs();
}

}  // namespace harbex::tools
