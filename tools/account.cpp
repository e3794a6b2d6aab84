// The account's sign-in and its token.
#include <jansson.h>
#include <unistd.h>

#include <cstdio>

#include "commands.h"
#include "common/error_code.h"
#include "common/json_owner.h"
#include "corvane/cloud/edge_token.h"
#include "corvane/cloud/precheck.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "corvane/device/settings.h"
#include "facts.h"
#include "read_input.h"
#include "services.h"

namespace harbex::tools {
namespace {

constexpr corvane::BusQuery kSaveToken{
    .service = system::kNetworkService, .method = "Save_cloudtoken", .check_envelope = true};
constexpr corvane::BusQuery kRefreshToken{
    .service = system::kNetworkService, .method = "Refresh_cloudtoken", .check_envelope = true};

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

const char* find_region() {
    std::string is_china;
    (void)corvane::read_setting(corvane::kIsChinaRegion, is_china);  // cannot fail: it has a fallback
    if (is_china == "true") return "CHN";
    std::string latitude;
    std::string longitude;
    std::string country;
    std::string address;
    if (corvane::get_geo_info(latitude, longitude, country, address) != NO_ERROR) return "NONE";
    return country == "CN" ? "CHN" : "GLB";
}

// What the precheck finds, with nothing deleted, stored or renewed.
Outcome look(Call& call) {
    const bool reaches_internet =
        corvane::bsh_check_access_internet(corvane::get_gateway_interface_name()) == NO_ERROR;
    const Enrolment enrolment = read_enrolment();
    std::string l2tp;
    (void)corvane::read_setting(corvane::kL2tpEnable, l2tp);  // cannot fail: it has a fallback
    call.data["ncsi"] = reaches_internet;
    call.data["region"] = reaches_internet ? find_region() : "NONE";
    call.data["bid_exist"] = reaches_internet && enrolment.is_marked && enrolment.token.is_present;
    call.data["l2tp_status"] = l2tp == "TRUE" ? "enabled" : "disabled";
    return NO_ERROR;
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
    if (call.has("--look")) return look(call);
    const bool was_there = access(system::kBidConf, F_OK) == 0;
    (void)corvane::join_corvane_precheck(call.data);  // always NO_ERROR
    if (was_there && access(system::kBidConf, F_OK) != 0 && !call.is_json)
        std::fprintf(stderr, "The sign-in was not followed by a join and is removed (%s); sign in again.\n",
                     system::kBidConf);
    return NO_ERROR;
}

}  // namespace harbex::tools
