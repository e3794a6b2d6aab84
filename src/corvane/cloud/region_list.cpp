#include "corvane/cloud/region_list.h"

#include <jansson.h>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/trace_log.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/registration.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

int take_groups(const std::string& reply, JsonValue& result) {
    const JsonOwner root = parse_or_log(reply, "Failed to parse JSON");
    if (!root) return ERR_WRONG_JSON_FORMAT;
    HARBEXLOG(HARBEXLOG_INFO, "error is \n");  // the parser's words, none by now
    if (!json_is_object(root.get())) return fail(ERR_CORVANEAPI_VPN_GROUPS, "Failed to parse vpn_groups response");
    const json_t* data = json_object_get(root.get(), "data");
    if (!json_is_object(data)) return fail(ERR_WRONG_JSON_FORMAT, "Failed to get data");
    const json_t* groups = json_object_get(data, "vpnGroups");
    if (groups == nullptr) return fail(ERR_WRONG_JSON_FORMAT, "Failed to get vpnGroups: key not found");
    if (!json_is_array(groups)) return fail(ERR_WRONG_JSON_FORMAT, "vpnGroups is not an array");
    JsonOwner copy(json_deep_copy(groups));
    if (!copy) return ERR_CORVANEAPI_VPN_GROUPS;  // no memory
    result = copy.release();
    HARBEXLOG(HARBEXLOG_INFO, "root is %d %s\n", static_cast<int>(json_typeof(root.get())),
              json_dump_text(root.get(), JSON_COMPACT).c_str());
    return NO_ERROR;
}

}  // namespace

int get_region_list(JsonValue& result, const std::string& org_id) try {
    if (invalidate_corvanetoken() != NO_ERROR) return ERR_SAVE_FILE;
    HARBEXLOG(HARBEXLOG_INFO, "get corvane token for orgId: %s\n", org_id.c_str());
    std::string token;
    if (get_corvanetoken(org_id, token) != NO_ERROR)
        return fail(ERR_CORVANE_GETCORVANETOKEN, "Failed to get corvane token");
    std::string reply;
    if (corvane_api_vpn_groups(token, reply) != NO_ERROR) {
        return fail(ERR_CORVANEAPI_VPN_GROUPS, "Failed to call corvane api vpn groups");
    }
    return take_groups(reply, result);
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
