// The SD-WAN edge daemon of the simulated NAS: answers on the bus from the edge's state file, read at every call.
// Each call is noted as one JSON line {"method","request"} in its log.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "bsvc.h"
#include "edge_state.h"
#include "nas_config.h"

namespace {

using appliance::change_edge_state;
using appliance::Json;
using appliance::parse_json;
using appliance::text_of;

constexpr const char* kService = "corvane_expressd";
constexpr const char* kLog = "/var/log/corvane_expressd.log";
constexpr int kWorkers = 4;
constexpr int kBadRequest = 22;
constexpr int kNotFound = 2;
bs_service* running = nullptr;

// The reply's "data" (owned by the caller) or, when `error` is set, what was wrong.
struct Reply {
    json_t* data;
    int error = 0;
};

Reply refuse(int error, const char* words) {
    return {json_string(words), error};
}

json_t* member_or(const json_t* state, const char* key, json_t* fallback) {
    json_t* value = json_object_get(state, key);
    if (value == nullptr) return fallback;
    json_decref(fallback);
    return json_incref(value);
}

bool change(const char* patch) {
    return change_edge_state(parse_json(patch).get());
}

Reply geo_info(const json_t* state, const json_t*) {
    const json_t* geo = json_object_get(state, "geo");
    if (geo == nullptr) return refuse(kNotFound, "position unknown");
    json_t* data = json_object();
    for (const char* key : {"latitude", "longitude", "public_ip"})
        if (json_t* value = json_object_get(geo, key)) json_object_set(data, key, value);
    return {data};
}

Reply cloud_status(const json_t* state, const json_t*) {
    return {json_integer(appliance::number_of(state, "cloud_status", 0))};
}

Reply hub_info(const json_t* state, const json_t* request) {
    const std::string token = text_of(request, "bdevice_token");
    if (token.empty()) return refuse(kBadRequest, "bdevice_token is missing");
    if (token != text_of(state, "device_token")) return refuse(kBadRequest, "unknown bdevice_token");
    const Json hub(member_or(state, "hub", json_object()));
    return {json_string(appliance::compact(hub.get()).c_str())};
}

Reply ipsec_status(const json_t* state, const json_t*) {
    const json_t* tunnels = json_object_get(state, "tunnels");
    json_t* data = json_object();
    for (const char* region : {"router", "supernode"})
        json_object_set_new(data, region, member_or(tunnels, region, json_object()));
    return {data};
}

// The daemon looks at the interfaces whenever it is asked; there is nothing to bring up to date.
Reply update_interfaces(const json_t*, const json_t*) {
    return {json_string("")};
}

// Gives the virtual interface the address that the NAS's settings hold now.
Reply reset_virtual_interface(const json_t*, const json_t*) {
    char address[64];
    Get_Private_Profile_String("Join Corvane", "virtual_ip", "", address, sizeof(address),
                               "/etc/config/harbex/corvane.conf");
    const Json patch(json_object());
    json_object_set_new(patch.get(), "virtual_interface", appliance::json_text(address));
    return change_edge_state(patch.get()) ? Reply{json_string("")} : refuse(kNotFound, "no state");
}

Reply device_token(const json_t* state, const json_t*) {
    const std::string token = text_of(state, "device_token");
    if (token.empty()) return refuse(kNotFound, "no agent configuration");
    return {json_string(token.c_str())};
}

Reply send_supernode_config(const json_t*, const json_t* request) {
    json_t* data = json_object_get(request, "data");
    if (!json_is_string(json_object_get(data, "superNodeId"))) return refuse(kBadRequest, "superNodeId is missing");
    const Json patch(json_object());
    // An empty id drops the configuration.
    const bool drops = text_of(data, "superNodeId").empty();
    if (!drops) change(R"({"supernode_config": null})");
    json_object_set_new(patch.get(), "supernode_config", drops ? json_null() : json_incref(data));
    return change_edge_state(patch.get()) ? Reply{json_string("")} : refuse(kNotFound, "no state");
}

Reply clear_ipsec_connections(const json_t*, const json_t* request) {
    const std::string region = text_of(request, "region");
    if (region != "router" && region != "supernode") return refuse(kBadRequest, "unknown region");
    const bool cleared =
        change(region == "router" ? R"({"tunnels": {"router": null}})" : R"({"tunnels": {"supernode": null}})");
    return cleared ? Reply{json_string("")} : refuse(kNotFound, "no state");
}

Reply supernode_remaining(const json_t* state, const json_t*) {
    return {member_or(state, "supernode_usage", json_object())};
}

Reply supernode_devices(const json_t* state, const json_t*) {
    return {member_or(state, "supernode_devices", json_array())};
}

Reply supernode_traffic(const json_t* state, const json_t*) {
    return {member_or(state, "supernode_traffic", json_array())};
}

struct Method {
    std::string_view name;
    Reply (*answer)(const json_t* state, const json_t* request);
    bool wants_request;
};
constexpr Method kMethods[] = {
    {"GetGeoInfo", geo_info, false},
    {"GetCloudStatus", cloud_status, false},
    {"GetHubInfo", hub_info, true},
    {"GetIpsecStatus", ipsec_status, false},
    {"UpdateNetworkInterfaces", update_interfaces, false},
    {"ResetVirtualInterface", reset_virtual_interface, false},
    {"GetDeviceToken", device_token, false},
    {"SendSupernodeConfig", send_supernode_config, true},
    {"ClearIpsecConnections", clear_ipsec_connections, true},
    {"GetSupernodeRemaining", supernode_remaining, false},
    {"GetSupernodeDevices", supernode_devices, false},
    {"SupernodeRecentBillingDailyTraffic", supernode_traffic, false},
};

void note_call(std::string_view method, std::string_view body) {
    const Json entry(json_object());
    json_object_set_new(entry.get(), "method", appliance::json_text(method));
    json_object_set_new(entry.get(), "request", appliance::json_text(body));
    const std::string line = appliance::compact(entry.get()) + "\n";
    const int log = open(kLog, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (log < 0) return;
    // One write a line: lines of several workers do not mix.
    if (write(log, line.data(), line.size()) < 0) std::perror(kLog);
    close(log);
}

Reply answer(std::string_view method, std::string_view body) {
    for (const Method& row : kMethods) {
        if (row.name != method) continue;
        const Json request = parse_json(body);
        if (row.wants_request && !json_is_object(request.get()))
            return refuse(kBadRequest, "the request is no JSON object");
        const Json state = appliance::read_edge_state();
        return row.answer(state.get(), request.get());
    }
    return refuse(kNotFound, "unknown method");
}

void handle(const char* method, bs_io* io, int fd) {
    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    const std::string body = bytes == nullptr ? "" : std::string(bytes, length);
    note_call(method, body);
    const Reply reply = answer(method, body);
    const Json envelope(json_object());
    json_object_set_new(envelope.get(), "error", json_integer(reply.error));
    json_object_set_new(envelope.get(), "data", reply.data);
    const std::string text = appliance::compact(envelope.get());
    bs_io_realloc(io, 0);
    bs_io_write(io, text.data(), text.size());
    bs_reply(io);
    bs_io_free(io);
    close(fd);
}

void stop(int) {
    bs_stop(running);
}

}  // namespace

int main() {
    bs_signal(SIGINT, stop);
    bs_signal(SIGTERM, stop);
    running = bs_create(kService, kWorkers, 1, handle);
    if (running == nullptr) {
        std::perror("corvane_expressd: bs_create");
        return 1;
    }
    bs_start(running);
    bs_free(running);
    return 0;
}
