#include "cloud/control.h"

#include <fnmatch.h>
#include <signal.h>
#include <unistd.h>

#include <ctime>

#include "bsvc.h"
#include "cloud/endpoints.h"
#include "edge_state.h"

namespace appliance {
namespace {

constexpr const char* kService = "cloud";
constexpr int kWorkers = 2;
constexpr int kRefused = 1;

Cloud* cloud = nullptr;
bs_service* running = nullptr;

struct Reply {
    json_t* data;
    int error = 0;
};

Reply refuse(const std::string& why) {
    return {json_text(why), kRefused};
}

Reply show_state(const json_t*) {
    const auto lock = cloud->state.lock();
    return {json_deep_copy(cloud->state.root())};
}

Reply change_state(const json_t* request) {
    const auto lock = cloud->state.lock();
    const std::string wrong = cloud->state.change(request);
    if (!wrong.empty()) return refuse(wrong);
    return cloud->state.save() ? Reply{json_string("")} : refuse("the cloud cannot keep its state");
}

// An encoded answer of a sign-in just made; its tokens are known to the cloud.
Reply sign_in(const json_t* request) {
    const auto lock = cloud->state.lock();
    const json_int_t lifetime_s =
        number_of(request, "expires_in_s", number_of(cloud->state.root(), "access_token_lifetime_s", 0));
    const AccountTokens tokens = cloud->state.issue_account_tokens(time(nullptr), lifetime_s);
    if (!cloud->state.save()) return refuse("the cloud cannot keep its state");
    const Json plain(json_pack("{s:s, s:s, s:s}", "access_token", tokens.access.c_str(), "refresh_token",
                               tokens.refresh.c_str(), "token_type", "bearer"));
    return {json_string(seal(compact(plain.get()), cloud->credentials.app_secret).c_str())};
}

Reply sign_out(const json_t*) {
    const auto lock = cloud->state.lock();
    cloud->state.forget_tokens();
    return cloud->state.save() ? Reply{json_string("")} : refuse("the cloud cannot keep its state");
}

// The cloud's own deletion of a device, as an administrator would order it.
Reply remove_device(const json_t* request) {
    const auto lock = cloud->state.lock();
    const std::string id = text_of(request, "device_id");
    if (!cloud->state.remove_device(id)) return refuse("no such device");
    if (!cloud->state.save()) return refuse("the cloud cannot keep its state");
    disconnect_edge(id);
    return {json_string("")};
}

// What an agent that reports for work becomes part of: {"hub", "tunnels"}.
Reply connect_agent(const json_t* request) {
    const auto lock = cloud->state.lock();
    const json_t* device = cloud->state.device(text_of(request, "device_id"));
    if (device == nullptr || text_of(device, "device_token") != text_of(request, "device_token"))
        return refuse("unknown device");
    if (!json_is_true(json_object_get(device, "registered"))) return refuse("the device is not registered");

    const std::string wish = text_of(json_object_get(device, "identity"), "corvaneRegionId");
    const json_t* group = cloud->state.region(cloud->state.resolve_region(wish));
    const json_t* hubs = json_object_get(group, "hubs");
    const json_t* supernode = json_object_get(cloud->state.root(), "supernode");
    json_t* hub = json_object();
    json_t* routers = json_object();
    size_t index;
    json_t* element;
    json_array_foreach(hubs, index, element) {
        if (index == 0) json_object_set(hub, "router_region", element);
        json_object_set_new(routers, text_of(element, "device_name").c_str(), json_integer(2));
    }
    json_object_set_new(hub, "supernode_region", json_deep_copy(supernode));
    json_t* supernodes = json_object();
    json_object_set_new(supernodes, text_of(supernode, "device_name").c_str(), json_integer(2));
    return {json_pack("{s:o, s:{s:o, s:o}}", "hub", hub, "tunnels", "router", routers, "supernode", supernodes)};
}

Reply clear_requests(const json_t*) {
    cloud->records.clear();
    return {json_string("")};
}

// The hosts that a fault's name concerns: a host, or a path that they serve.
Reply hosts_of(const json_t* request) {
    const std::string name = text_of(request, "name");
    const size_t slash = name.find('/');
    const std::string host = name.substr(0, slash);
    json_t* found = json_array();
    for (const std::string& candidate : cloud->hosts.names()) {
        if (!host.empty() && fnmatch(host.c_str(), candidate.c_str(), 0) != 0) continue;
        if (slash == std::string::npos || service_serves(cloud->hosts.service_of(candidate), name.substr(slash)))
            json_array_append_new(found, json_text(candidate));
    }
    return {found};
}

constexpr struct {
    std::string_view name;
    Reply (*answer)(const json_t* request);
} kMethods[] = {
    {"state", show_state},
    {"change", change_state},
    {"sign_in", sign_in},
    {"sign_out", sign_out},
    {"remove_device", remove_device},
    {"connect_agent", connect_agent},
    {"clear_requests", clear_requests},
    {"hosts_of", hosts_of},
};

Reply answer(std::string_view method, std::string_view body) {
    for (const auto& row : kMethods) {
        if (row.name != method) continue;
        const Json request = parse_json(body.empty() ? "{}" : body);
        return request ? row.answer(request.get()) : refuse("the request is no JSON");
    }
    return refuse("unknown method");
}

void handle(const char* method, bs_io* io, int descriptor) {
    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    const Reply reply = answer(method, bytes == nullptr ? std::string() : std::string(bytes, length));
    const Json envelope(json_object());
    json_object_set_new(envelope.get(), "error", json_integer(reply.error));
    json_object_set_new(envelope.get(), "data", reply.data);
    const std::string text = compact(envelope.get());
    bs_io_realloc(io, 0);
    bs_io_write(io, text.data(), text.size());
    bs_reply(io);
    bs_io_free(io);
    close(descriptor);
}

void stop(int) {
    bs_stop(running);
}

}  // namespace

bool serve_control(Cloud& served) {
    cloud = &served;
    running = bs_create(kService, kWorkers, 1, handle);
    if (running == nullptr) return false;
    bs_signal(SIGINT, stop);
    bs_signal(SIGTERM, stop);
    bs_start(running);
    bs_free(running);
    return true;
}

}  // namespace appliance
