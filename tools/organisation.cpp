// The organisation and the region to join.
#include "commands.h"
#include "common/error_code.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/org_center.h"
#include "corvane/cloud/region_list.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"

namespace harbex::tools {

Outcome org_list(Call& call) {
    return corvane::get_organization_list(call.data);
}

Outcome org_create(Call& call) {
    std::string id;
    const int result = corvane::create_organization(call.arguments[0], id);
    if (result == NO_ERROR) call.data["organization_id"] = id;
    return result;
}

// The site comes first: it is asked of the cloud, so that an id that is none changes nothing.
Outcome org_use(Call& call) {
    const std::string& id = call.arguments[0];
    const std::string& name = call.arguments[1].empty() ? id : call.arguments[1];
    // The mark in the account's settings stays when the cloud removes this NAS; the device id does not.
    std::string joined_to;
    if (!corvane::get_device_id().empty() && (corvane::get_org_id(joined_to) != NO_ERROR || joined_to != id))
        return ERR_ACCESS;
    const int result = corvane::set_site_id(id);
    if (result != NO_ERROR) return result;
    const int stored = corvane::set_org_id(id, name);
    return stored != NO_ERROR ? stored : corvane::invalidate_corvanetoken();  // it was the former organisation's
}

Outcome region_list(Call& call) {
    std::string org_id;
    if (const int result = corvane::get_org_id(org_id); result != NO_ERROR) return result;
    if (org_id.empty()) return ERR_MISS_OPTION;
    return corvane::get_region_list(call.data, org_id);
}

Outcome region_use(Call& call) {
    const std::string& id = call.arguments[0];
    return corvane::set_region_id(id, call.arguments[1].empty() ? id : call.arguments[1]);
}

}  // namespace harbex::tools
