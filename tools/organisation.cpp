// The organisation and the region to join.
#include <jansson.h>

#include "commands.h"
#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/service_names.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/org_center.h"
#include "corvane/cloud/region_list.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"
#include "failure_cause.h"
#include "result_words.h"

namespace harbex::tools {
namespace {

constexpr const char* kAutoRegion = "auto";
constexpr const char* kForce = "--force";

// Whether an object of the array has `id` as its member `key`.
bool holds(JsonValue& list, const char* key, const std::string& id) {
    if (list.type != JsonValue::JSON_T_TYPE) return false;
    size_t index = 0;
    json_t* item = nullptr;
    json_array_foreach(static_cast<json_t*>(list.value), index, item) {
        if (json_member_text(item, key) == id) return true;
    }
    return false;
}

Outcome refused(int code, const std::string& sentence, const char* remedy) {
    return {code, Cause{.ending = Ending::kFailed, .sentence = sentence, .remedy = remedy}};
}

// Of a list that cannot be had, for `why`.
Outcome without_list(int code, int why) {
    Outcome outcome = code;
    if (ending_of(why) == Ending::kCloud || ending_of(why) == Ending::kTimeOut)
        outcome.cause.remedy = "repeat it when the cloud can be reached, or add --force";
    return outcome;
}

// The account tool does not say why there is no site: whether the cloud knows the organisation tells.
Outcome explain_no_site(const std::string& id, int code, bool is_forced) {
    JsonValue list;
    if (const int why = corvane::get_organization_list(list); why != NO_ERROR)
        return is_forced ? NO_ERROR : without_list(code, why);
    if (!holds(list, "organization_id", id))
        return refused(code, "'" + id + "' is none of the user's organisations.", "harbexctl org list shows them");
    if (is_forced) return NO_ERROR;
    return refused(code, "The organisation's site cannot be had.", "look into the log, then type the command again");
}

Outcome region_list_into(JsonValue& list) {
    std::string org_id;
    if (const int result = corvane::get_org_id(org_id); result != NO_ERROR) return result;
    if (org_id.empty()) return ERR_MISS_OPTION;
    if (Outcome without = check_service(system::kNetworkService, ERR_CORVANE_GETCORVANETOKEN);
        without.code != NO_ERROR)
        return without;
    return corvane::get_region_list(list, org_id);
}

Outcome check_region(const std::string& id, bool is_forced) {
    JsonValue list;
    if (Outcome outcome = region_list_into(list); outcome.code != NO_ERROR) {
        if (is_forced) return NO_ERROR;
        return outcome.cause.sentence.empty() ? without_list(outcome.code, outcome.code) : outcome;
    }
    if (holds(list, "groupId", id)) return NO_ERROR;
    return refused(ERR_VALUE, "'" + id + "' is no region of the organisation.", "harbexctl region list shows them");
}

}  // namespace

Outcome org_list(Call& call) {
    return corvane::get_organization_list(call.data);
}

Outcome org_create(Call& call) {
    std::string id;
    const int result = corvane::create_organization(call.arguments[0], id);
    if (result == NO_ERROR) call.data["organization_id"] = id;
    return result;
}

Outcome org_use(Call& call) {
    const std::string& id = call.arguments[0];
    const std::string& name = call.arguments[1].empty() ? id : call.arguments[1];
    // The mark in the account's settings stays when the cloud removes this NAS; the device id does not.
    std::string joined_to;
    if (!corvane::get_device_id().empty() && (corvane::get_org_id(joined_to) != NO_ERROR || joined_to != id))
        return {ERR_ACCESS, Cause{.remedy = "harbexctl leave"}};
    Outcome without = check_service(system::kNetworkService, ERR_CORVANE_GETCLOUDTOKEN);
    const bool has_daemon = without.code == NO_ERROR;
    if (!has_daemon && !call.has(kForce)) return without;
    // The site comes first: it is asked of the cloud, so that an id that is none changes nothing.
    if (const int result = has_daemon ? corvane::set_site_id(id) : without.code; result != NO_ERROR) {
        Outcome why = has_daemon ? explain_no_site(id, result, call.has(kForce)) : NO_ERROR;
        if (why.code != NO_ERROR) return why;
        // Never an organisation with another one's site.
        if (const int cleared = corvane::write_setting(corvane::kSiteId, ""); cleared != NO_ERROR) return cleared;
    }
    const int stored = corvane::set_org_id(id, name);
    return stored != NO_ERROR ? stored : corvane::invalidate_corvanetoken();  // it was the former organisation's
}

Outcome region_list(Call& call) {
    return region_list_into(call.data);
}

Outcome region_use(Call& call) {
    const std::string& id = call.arguments[0];
    if (id != kAutoRegion) {
        if (Outcome checked = check_region(id, call.has(kForce)); checked.code != NO_ERROR) return checked;
    }
    return corvane::set_region_id(id, call.arguments[1].empty() ? id : call.arguments[1]);
}

}  // namespace harbex::tools
