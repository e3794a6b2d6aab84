// The account's sign-in and its token.
#include <jansson.h>

#include "commands.h"
#include "common/error_code.h"
#include "common/json_owner.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/precheck.h"
#include "corvane/device/bus_query.h"
#include "read_input.h"
#include "services.h"

namespace harbex::tools {
namespace {

constexpr corvane::BusQuery kSaveToken{
    .service = kNetworkService, .method = "Save_cloudtoken", .check_envelope = true};
constexpr corvane::BusQuery kRefreshToken{
    .service = kNetworkService, .method = "Refresh_cloudtoken", .check_envelope = true};

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

}  // namespace

// Asks the daemon itself rather than through save_vellum_token, which does not look at its answer.
Outcome sign_in(Call& call) {
    std::string encoded;
    std::string why;
    if (const int result = read_input(call.arguments[0], encoded, why); result != NO_ERROR)
        return {result, Cause{.ending = Ending::kLocalFile, .sentence = why}};
    encoded.erase(encoded.find_last_not_of(" \t\r\n") + 1);
    const JsonOwner request(json_pack("{s:s%}", "oauth_response_encoded", encoded.data(), encoded.size()));
    if (!request) return ERR_WRONG_JSON_FORMAT;
    if (const int result = query(kSaveToken, request.get()); result != NO_ERROR) return result;
    // The SD-WAN token may be the former user's, or revoked; without this it would be served for a day.
    return corvane::invalidate_corvanetoken();
}

Outcome token_refresh(Call&) {
    return query(kRefreshToken);
}

Outcome precheck(Call& call) {
    return corvane::join_corvane_precheck(call.data);
}

}  // namespace harbex::tools
