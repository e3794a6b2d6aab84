// The SD-WAN side of the simulated cloud: edges, their addresses, regions and devices.
#include <arpa/inet.h>
#include <strings.h>

#include <charconv>
#include <optional>

#include "cloud/call.h"
#include "edge_state.h"

namespace appliance {
namespace {

constexpr const char* kJsonType = "application/json";

// What an edge says about itself: literal pieces with a value between two of them.
constexpr std::string_view kEdgePieces[] = {
    R"({"deviceName": ")",
    R"(", "contact": ")",
    R"(", "contactEmail": ")",
    R"(", "modelId": 11, "subModelName": ")",
    R"(","locationAddress": "", "timezone": ")",
    R"(", "regionId": )",
    R"(, "licenseId": "", "country": "", "identifyMac": ")",
    R"(", "identifySN": ")",
    R"(", "identifySid": "", "brindleOrgId": ")",
    R"(", "brindleSiteId": ")",
    R"(", "corvaneRegionId": ")",
    R"(", "deviceRole": "edge"})",
};

// Whether the body consists of the pieces, in order, from its first byte to its last.
bool has_edge_shape(std::string_view body) {
    if (!body.starts_with(kEdgePieces[0]) || !body.ends_with(kEdgePieces[std::size(kEdgePieces) - 1])) return false;
    size_t at = 0;
    for (const std::string_view piece : kEdgePieces) {
        const size_t found = body.find(piece, at);
        if (found == std::string_view::npos) return false;
        at = found + piece.size();
    }
    return at == body.size();
}

bool is_mac(std::string_view text) {
    if (text.size() != 17) return false;
    for (size_t index = 0; index < text.size(); ++index) {
        const bool separator = index % 3 == 2;
        if (separator ? text[index] != ':' : std::string_view("0123456789abcdef").find(text[index]) == text.npos)
            return false;
    }
    return true;
}

void check_edge(const Call& call, const json_t* edge) {
    const json_t* organization = call.state.organization(text_of(edge, "brindleOrgId"));
    if (organization == nullptr) throw Refusal{403, "no such organisation"};
    bool site_known = false;
    size_t index;
    json_t* site;
    json_array_foreach(json_object_get(organization, "sites"), index, site) {
        site_known = site_known || text_of(site, "organization_site_id") == text_of(edge, "brindleSiteId");
    }
    if (!site_known) throw Refusal{403, "no such site in the organisation"};
    if (const json_int_t region = number_of(edge, "regionId", -1); region != 0 && region != 1)
        throw Refusal{422, "regionId must be 0 or 1"};
    if (!is_mac(text_of(edge, "identifyMac"))) throw Refusal{422, "identifyMac is no MAC address"};
    const std::string region = text_of(edge, "corvaneRegionId");
    if (!region.empty() && region != "auto" && region != "supn" && call.state.region(region) == nullptr)
        throw Refusal{422, "no such region"};
}

struct Network {
    uint32_t address;
    uint32_t mask;
    bool holds(uint32_t other) const { return (address & mask) == (other & mask); }
};

// "A.B.C.D" or "A.B.C.D/LENGTH".
std::optional<Network> parse_network(const std::string& text) {
    const size_t slash = text.find('/');
    unsigned length = 32;
    if (slash != std::string::npos) {
        const auto [end, error] = std::from_chars(text.data() + slash + 1, text.data() + text.size(), length);
        if (error != std::errc() || end != text.data() + text.size() || length > 32) return std::nullopt;
    }
    in_addr address{};
    if (inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1) return std::nullopt;
    return Network{ntohl(address.s_addr), length == 0 ? 0 : ~uint32_t{0} << (32 - length)};
}

bool lies_in_one(uint32_t address, const json_t* networks) {
    size_t index;
    json_t* element;
    json_array_foreach(const_cast<json_t*>(networks), index, element) {
        const auto network = json_is_string(element) ? parse_network(json_string_value(element)) : std::nullopt;
        if (!network) throw Refusal{422, "excludedSubnets holds no network"};
        if (network->holds(address)) return true;
    }
    return false;
}

// The suggestion that the cloud is set to, or, when that one clashes too, the first free of 10.9.0.5, 10.10.0.5, …
std::string suggest_network(const CloudState& state, const json_t* excluded) {
    std::string suggestion = text_of(state.root(), "suggested_network");
    for (int second = 9; second < 255; ++second) {
        const auto network = parse_network(suggestion);
        if (!network || !lies_in_one(network->address, excluded)) break;
        suggestion = "10." + std::to_string(second) + ".0.5/24";
    }
    return suggestion;
}

json_t* require_device(const Call& call, const std::string& organization) {
    json_t* device = call.state.device(call.id);
    if (device == nullptr) throw Refusal{404, "no such device"};
    if (text_of(device, "organization_id") != organization) throw Refusal{403, "a device of another organisation"};
    return device;
}

}  // namespace

CloudAnswer log_in_edge(Call& call) {
    call.require_header("Content-Type", kJsonType);
    call.require_vellum_token();
    std::string id;
    if (!parse_json(call.request.body) || !cut_between(call.request.body, R"({"orgId": ")", R"("})", id))
        throw Refusal{400, "not an edge's log-in"};
    if (call.state.organization(id) == nullptr) throw Refusal{403, "no such organisation"};
    const Json answer(json_pack("{s:s}", "corvaneToken", call.state.issue_corvane_token(id, call.now).c_str()));
    return {200, compact(answer.get())};
}

CloudAnswer enrol_edge(Call& call) {
    call.require_header("Content-Type", kJsonType);
    call.require_vellum_token();
    const Json edge = parse_json(call.request.body);
    if (!edge || !has_edge_shape(call.request.body)) throw Refusal{400, "not an edge's description of itself"};
    check_edge(call, edge.get());
    const std::string organization = text_of(edge.get(), "brindleOrgId");
    const json_t* device = call.state.enrol_device(organization, edge.get());
    const Json answer(json_pack("{s:s, s:s, s:I, s:s}", "deviceId", text_of(device, "deviceId").c_str(),
                                "corvaneToken", call.state.issue_corvane_token(organization, call.now).c_str(),
                                "serialNumber", number_of(device, "serialNumber", 0), "virtualIP",
                                text_of(call.state.root(), "virtual_ip").c_str()));
    return {200, compact(answer.get())};
}

CloudAnswer check_ip_subnet(Call& call) {
    call.require_header("accept", kJsonType);
    call.require_header("Content-Type", kJsonType);
    (void)call.require_corvane("Buser ");  // any organisation may ask
    const Json body = parse_json(call.request.body);
    json_t* list = json_object_get(body.get(), "data");
    const json_t* asked = json_array_get(list, 0);
    const json_t* excluded = json_object_get(asked, "excludedSubnets");
    if (!body || compact(body.get()) != call.request.body || json_object_size(body.get()) != 1 ||
        json_array_size(list) != 1 || json_object_size(asked) != 4 || text_of(asked, "submask") != "32" ||
        text_of(asked, "type") != "virtualIP" || !json_is_array(excluded))
        throw Refusal{400, "not a question about a virtual IP"};
    const auto address = parse_network(text_of(asked, "ip"));
    if (!address) throw Refusal{422, "ip is no address"};
    if (!lies_in_one(address->address, excluded) &&
        !lies_in_one(address->address, json_object_get(call.state.root(), "conflict_networks")))
        return {200, R"({"data":[]})"};
    const std::string suggestion = suggest_network(call.state, excluded);
    const Json answer(json_pack("{s:i, s:s, s:[{s:s, s:{s:s}}]}", "code", 40900, "message", "the address is in use",
                                "data", "ip", text_of(asked, "ip").c_str(), "data", "sugIPNet", suggestion.c_str()));
    return {409, compact(answer.get())};
}

CloudAnswer show_topology(Call& call) {
    call.require_header("accept", kJsonType);
    (void)call.require_corvane("Buser ");  // every organisation sees the same regions
    const Json answer(json_pack("{s:{s:O}}", "data", "vpnGroups", json_object_get(call.state.root(), "vpn_groups")));
    return {200, compact(answer.get())};
}

CloudAnswer register_device(Call& call) {
    call.require_header("accept", kJsonType);
    json_t* device = require_device(call, call.require_corvane(""));
    json_object_set_new(device, "registered", json_true());
    const Json answer(json_pack("{s:s, s:O}", "deviceId", call.id.c_str(), "serialNumber",
                                json_object_get(device, "serialNumber")));
    return {200, compact(answer.get())};
}

CloudAnswer show_agent_configuration(Call& call) {
    call.require_header("accept", kJsonType);
    const json_t* device = require_device(call, call.require_corvane(""));
    if (call.request.query() != "format=json") throw Refusal{406, "format=json is the only format"};
    if (!json_is_true(json_object_get(device, "registered"))) throw Refusal{409, "the device is not registered"};
    const std::string configuration =
        "DEV_ID=\"" + call.id + "\"\nDEV_TOKEN=\"" + text_of(device, "device_token") + "\"\nDEV_ROLE=\"edge\"\n";
    const Json answer(json_pack("{s:s}", "cloudagentCfg", configuration.c_str()));
    return {200, compact(answer.get())};
}

CloudAnswer delete_device(Call& call) {
    call.require_header("Content-Type", kJsonType);
    const std::string organization = call.require_corvane("");
    call.require_vellum_token();
    (void)require_device(call, organization);
    call.state.remove_device(call.id);
    disconnect_edge(call.id);
    const Json answer(json_pack("{s:s, s:s}", "deviceId", call.id.c_str(), "message", "deleted"));
    return {200, compact(answer.get())};
}

}  // namespace appliance
