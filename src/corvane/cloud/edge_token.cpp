#include "corvane/cloud/edge_token.h"

#include <jansson.h>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/service_names.h"
#include "common/trace_log.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr BusQuery kTokenQuery{
    .service = system::kNetworkService,
    .method = "Get_corvanetoken",
    .bad_arguments = "Failed to serialize request JSON",
    .reply_label = "get corvane token response",
    .check_envelope = true,
    .rejected = "Failed to check corvane token response",
};

}  // namespace

int get_corvanetoken(const std::string& org_id, std::string& token) try {
    const JsonOwner request(json_pack("{s:s%}", "orgId", org_id.data(), org_id.size()));
    if (!request) return fail(ERR_CMD_FAILED, kTokenQuery.bad_arguments);
    const BusAnswer answer = query_service(kTokenQuery, request.get());
    if (!answer.document) return ERR_CMD_FAILED;
    if (take_text(json_object_get(answer.document.get(), "data"), token)) return NO_ERROR;
    return fail(ERR_WRONG_JSON_FORMAT, "Invalid response format");
} catch (...) {
    return short_of_memory();
}

int get_corvanetoken_wrapper(std::string& token) {
    std::string org_id;
    (void)read_setting(kOrgId, org_id);  // what counts is whether there is an id
    if (org_id.empty()) return fail(ERR_CMD_FAILED, "Failed to get CORVANE_ORG_ID from corvane.conf");
    return get_corvanetoken(org_id, token);
}

int invalidate_corvanetoken() {
    constexpr const char* kNotWritten = "Failed to invalidate cached corvaneToken in corvane.conf";
    return write_setting(kCorvaneTokenLastSeen, "0", kNotWritten) == NO_ERROR ? NO_ERROR : ERR_SAVE_FILE;
}

}  // namespace harbex::corvane
