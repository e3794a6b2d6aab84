#include "cloud/endpoints.h"

#include <fnmatch.h>

#include "cloud/call.h"

namespace appliance {
namespace {

struct Route {
    const char* service;
    const char* method;
    const char* path;  // * stands for one part
    CloudAnswer (*answer)(Call& call);
};
constexpr Route kRoutes[] = {
    {"AuthConnector", "POST", "/oauth2/refresh", refresh_tokens},
    {"OrgCenter", "GET", "/v1.2/organization", list_organizations},
    {"OrgCenter", "POST", "/v1.2/organization", create_organization},
    {"OrgCenter", "GET", "/v1.2/organization/*", show_organization},
    {"OrgCenter", "GET", "/v1.2/organization/*/site", list_sites},
    {"AccountCenter", "GET", "/v1.1/me", show_user},
    {"Corvane", "POST", "/cvnms/nmsuser/api/v1/edge/login", log_in_edge},
    {"Corvane", "POST", "/cvnms/bthings/api/v1/edge", enrol_edge},
    {"Corvane", "POST", "/corvane/bthings/api/v1/ip_subnet_check", check_ip_subnet},
    {"Corvane", "GET", "/corvane/bthings/api/v1/vpn_topology", show_topology},
    {"Corvane", "GET", "/cvnms/bthings/api/v1/devices/*", register_device},
    {"Corvane", "DELETE", "/cvnms/bthings/api/v1/devices/*", delete_device},
    {"Corvane", "GET", "/cvnms/bthings/api/v1/devices/*/cloudagent_cfg", show_agent_configuration},
};

// Whether `path` is the route's; `id` takes the part behind its *.
bool matches(std::string_view pattern, std::string_view path, std::string& id) {
    const size_t star = pattern.find('*');
    if (star == std::string_view::npos) return pattern == path;
    std::string part;
    if (!cut_between(path, pattern.substr(0, star), pattern.substr(star + 1), part)) return false;
    if (part.find('/') != std::string::npos) return false;
    id = part;
    return true;
}

CloudAnswer refused(int status, const std::string& message) {
    const Json body(json_object());
    json_object_set_new(body.get(), "code", json_integer(status * 100));
    json_object_set_new(body.get(), "message", json_text(message));
    return {status, compact(body.get())};
}

}  // namespace

bool cut_between(std::string_view text, std::string_view prefix, std::string_view suffix, std::string& middle) {
    if (text.size() < prefix.size() + suffix.size() || !text.starts_with(prefix) || !text.ends_with(suffix))
        return false;
    middle = text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
    return true;
}

void Call::require_header(std::string_view name, std::string_view value) const {
    const std::string found = request.header(name);
    if (found == value) return;
    throw Refusal{400, std::string(name) + " must be '" + std::string(value) + "', not '" + found + "'"};
}

void Call::require_account(std::string_view token) const {
    if (token.empty()) throw Refusal{401, "no account token"};
    if (!state.access_token_valid(std::string(token), now)) throw Refusal{401, "unknown or expired account token"};
}

void Call::require_bearer() const {
    std::string token;
    if (!cut_between(request.header("Authorization"), "Bearer ", "", token)) throw Refusal{401, "no bearer token"};
    require_account(token);
}

void Call::require_vellum_token() const {
    require_account(request.header("vellumToken"));
}

std::string Call::require_corvane(std::string_view scheme) const {
    std::string token;
    if (!cut_between(request.header("Authorization"), scheme, "", token) || token.empty())
        throw Refusal{401, "no corvane token"};
    std::string organization = state.corvane_organization(token, now);
    if (organization.empty()) throw Refusal{401, "unknown or expired corvane token"};
    return organization;
}

std::string list_paths() {
    std::string lines;
    std::string_view last;
    for (const Route& route : kRoutes) {
        if (last != route.path) lines.append(route.path).append("\n");
        last = route.path;
    }
    return lines;
}

bool service_serves(const std::string& service, const std::string& pattern) {
    for (const Route& route : kRoutes) {
        std::string id;
        if (service != route.service) continue;
        if (fnmatch(pattern.c_str(), route.path, 0) == 0 || matches(route.path, pattern, id)) return true;
    }
    return false;
}

CloudAnswer answer_request(const std::string& service, const CloudRequest& request, CloudState& state,
                           const Credentials& credentials, int64_t now) {
    if (service.empty()) return refused(421, "no such host here");
    bool path_known = false;
    for (const Route& route : kRoutes) {
        std::string id;
        if (service != route.service || !matches(route.path, request.path(), id)) continue;
        path_known = true;
        if (request.method != route.method) continue;
        const auto lock = state.lock();
        Call call{request, state, credentials, now, id};
        try {
            CloudAnswer answer = route.answer(call);
            if (!state.save()) return refused(507, "the cloud cannot keep its state");
            return answer;
        } catch (const Refusal& refusal) {
            return refused(refusal.status, refusal.message);
        }
    }
    return path_known ? refused(405, "method not allowed") : refused(404, "no such path");
}

}  // namespace appliance
