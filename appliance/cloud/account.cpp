// The account side of the simulated cloud: sign-in, organisation centre, account centre.
#include "cloud/call.h"

namespace appliance {
namespace {

constexpr const char* kJsonType = "application/json";

}  // namespace

CloudAnswer refresh_tokens(Call& call) {
    call.require_header("Content-Type", "application/x-www-form-urlencoded");
    const std::string prefix =
        "app_id=" + call.credentials.app_id + "&provider=" + call.credentials.provider + "&refresh_token=";
    std::string token;
    if (!cut_between(call.request.body, prefix, "", token)) throw Refusal{400, "not this application's refresh"};
    if (!call.state.refresh_token_valid(token)) throw Refusal{401, "unknown refresh token"};
    const AccountTokens tokens =
        call.state.issue_account_tokens(call.now, number_of(call.state.root(), "access_token_lifetime_s", 0));
    const Json plain(json_pack("{s:s, s:s, s:s}", "access_token", tokens.access.c_str(), "refresh_token",
                               tokens.refresh.c_str(), "token_type", "bearer"));
    const Json answer(json_pack("{s:s}", "result", seal(compact(plain.get()), call.credentials.app_secret).c_str()));
    return {200, compact(answer.get())};
}

CloudAnswer list_organizations(Call& call) {
    call.require_header("accept", kJsonType);
    call.require_bearer();
    const Json answer(
        json_pack("{s:i, s:O}", "code", 0, "result", json_object_get(call.state.root(), "organizations")));
    return {200, compact(answer.get())};
}

CloudAnswer create_organization(Call& call) {
    call.require_header("accept", kJsonType);
    call.require_header("Content-Type", kJsonType);
    call.require_bearer();
    std::string name;
    const Json body = parse_json(call.request.body);
    if (!body || !cut_between(call.request.body, R"({"name": ")", R"(", "size": "5~9"})", name))
        throw Refusal{400, "not a new organisation's name and size"};
    if (name.empty()) throw Refusal{422, "an organisation needs a name"};
    const std::string id = call.state.add_organization(text_of(body.get(), "name"));
    const Json answer(json_pack("{s:i, s:{s:s}}", "code", 0, "result", "organization_id", id.c_str()));
    return {200, compact(answer.get())};
}

CloudAnswer show_organization(Call& call) {
    call.require_header("accept", kJsonType);
    call.require_bearer();
    json_t* organization = call.state.organization(call.id);
    if (organization == nullptr) throw Refusal{404, "no such organisation"};
    const Json answer(json_pack("{s:O}", "result", organization));
    return {200, compact(answer.get())};
}

CloudAnswer list_sites(Call& call) {
    call.require_header("accept", kJsonType);
    call.require_bearer();
    const json_t* organization = call.state.organization(call.id);
    if (organization == nullptr) throw Refusal{404, "no such organisation"};
    json_t* sites = json_object_get(organization, "sites");
    const Json answer(json_pack("{s:o}", "result", sites == nullptr ? json_array() : json_incref(sites)));
    return {200, compact(answer.get())};
}

CloudAnswer show_user(Call& call) {
    call.require_header("accept", kJsonType);
    call.require_bearer();
    const Json answer(json_pack("{s:O}", "result", json_object_get(call.state.root(), "user")));
    return {200, compact(answer.get())};
}

}  // namespace appliance
