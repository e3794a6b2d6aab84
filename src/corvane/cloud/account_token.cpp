#include "corvane/cloud/account_token.h"

#include <jansson.h>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/service_names.h"
#include "common/trace_log.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

constexpr BusQuery kGetToken{
    .service = system::kNetworkService,
    .method = "Get_cloudtoken",
    .reply_label = "get cloud token response",
    .unparsable = "Failed to parse JSON",
};
constexpr BusQuery kSaveToken{
    .service = system::kNetworkService,
    .method = "Save_cloudtoken",
    .call_failed = "Failed to call bsh harbex_network_service.Save_cloudtoken",
};

}  // namespace

int get_cloudtoken(std::string& token) try {
    const BusAnswer answer = query_service(kGetToken);
    if (answer.stopped_at == BusStep::kParse) return ERR_WRONG_JSON_FORMAT;
    if (!answer.document) return ERR_CMD_FAILED;
    const json_t* error = json_object_get(answer.document.get(), "error");
    if (!json_is_integer(error)) return fail(ERR_WRONG_JSON_FORMAT, "No 'error' integer in get cloud token response");
    if (json_integer_value(error) != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Get_cloudtoken responded with error code: %d\n",
                  static_cast<int>(json_integer_value(error)));
        return ERR_CMD_FAILED;
    }
    if (take_text(json_object_get(answer.document.get(), "data"), token)) return NO_ERROR;
    return fail(ERR_WRONG_JSON_FORMAT, "No 'data' string in get cloud token response");
} catch (...) {
    return short_of_memory();
}

int save_vellum_token(const std::string& encoded) {
    const JsonOwner request(json_pack("{s:s%}", "oauth_response_encoded", encoded.data(), encoded.size()));
    if (!request) return fail(ERR_CMD_FAILED, kSaveToken.call_failed);  // no text that could be sent
    return notify_service(kSaveToken, request.get()) ? NO_ERROR : ERR_CMD_FAILED;
}

}  // namespace harbex::corvane
