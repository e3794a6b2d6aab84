#include "internet_access.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <condition_variable>
#include <cstring>
#include <system_error>
#include <vector>

#include "base/descriptor.h"
#include "kernel.h"

namespace network {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kProbeTime{3};
constexpr std::chrono::milliseconds kProbeStep{50};
constexpr std::chrono::seconds kResultStands{5};
constexpr std::size_t kMostProbes = 16;
constexpr uint16_t kDiscardPort = 9;

// The gateway of the interface's default route with the lowest metric. False: no default route.
bool find_gateway(Kernel& kernel, int ifindex, int family, IpAddress& gateway) {
    std::vector<Route> routes;
    if (!kernel.routes(family, routes)) return false;
    int64_t best = INT64_MAX;
    for (const Route& route : routes) {
        if (route.prefix != 0 || route.metric >= best) continue;
        for (const NextHop& hop : route.hops) {
            if (hop.ifindex != ifindex || route.metric >= best) continue;
            best = route.metric;
            gateway = hop.gateway;
        }
    }
    return best != INT64_MAX;
}

// Has the kernel look for a neighbour that it does not know: a datagram that nobody waits for. Whether it could be
// sent is seen in the neighbour table.
void send_datagram(const Link& link, const IpAddress& to) {
    const nas::Descriptor sender(socket(to.family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!sender) return;
    sockaddr_storage storage = {};
    socklen_t length = sizeof(sockaddr_in);
    if (to.family == AF_INET) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(kDiscardPort);
        std::memcpy(&address.sin_addr, to.bytes.data(), to.size());
        std::memcpy(&storage, &address, sizeof address);
    } else {
        sockaddr_in6 address = {};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(kDiscardPort);
        address.sin6_scope_id = static_cast<uint32_t>(link.index);
        std::memcpy(&address.sin6_addr, to.bytes.data(), to.size());
        std::memcpy(&storage, &address, sizeof address);
        length = sizeof address;
    }
    if (setsockopt(sender.get(), SOL_SOCKET, SO_BINDTODEVICE, link.name.c_str(),
                   static_cast<socklen_t>(link.name.size())) == 0)
        (void)sendto(sender.get(), "", 0, MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&storage),
                     length);
}

// True when the probe is to end.
bool pause(const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    return wake.wait_for(lock, stop, kProbeStep, [&stop] { return stop.stop_requested(); });
}

int ask_gateway(Kernel& kernel, const Link& link, const IpAddress& gateway, const std::stop_token& stop) {
    const auto deadline = steady_clock::now() + kProbeTime;
    // What the kernel knows may be half a minute old: it asks again. Where it may not be told to, its word is taken.
    const bool asked_again = kernel.ask_neighbour_again(link.index, gateway);
    if (!asked_again) send_datagram(link, gateway);
    for (Neighbour state = Neighbour::Unknown;;) {
        if (!kernel.neighbour(link.index, gateway, state)) return kUnreachable;
        if (state == Neighbour::Answers || (state == Neighbour::Unproven && !asked_again)) return kReachable;
        if (pause(stop) || steady_clock::now() >= deadline) return kUnreachable;
    }
}

int probe_interface(const std::string& name, const std::stop_token& stop) {
    Kernel kernel;
    Link link;
    if (kernel.link(name, link) != Found::Yes || (link.flags & IFF_RUNNING) == 0) return kNoWayOut;
    IpAddress gateway;
    if (!find_gateway(kernel, link.index, AF_INET, gateway) && !find_gateway(kernel, link.index, AF_INET6, gateway))
        return kNoWayOut;
    // A route without a gateway leads to the far end of a link that runs: there is nobody nearer to ask.
    if (gateway.family == 0 || (link.flags & IFF_NOARP) != 0) return kReachable;
    return ask_gateway(kernel, link, gateway, stop);
}

Json reply(int result) {
    switch (result) {
        case kNoWayOut:
            return failure(result, "The interface is down or has no default route");
        case kUnreachable:
            return failure(result, "The gateway does not answer");
        case kTooManyProbes:
            return failure(result, "Too many checks are running");
        default:
            return Json(json_pack("{s:i}", "error", result));
    }
}

}  // namespace

// Not left to the members: all probes are told to end before the first one is waited for.
InternetAccess::~InternetAccess() {
    for (auto& [name, probe] : probes_)
        probe.thread.request_stop();
}

Json InternetAccess::ask(const json_t* request) {
    const char* name = json_string_value(json_object_get(request, "ifname"));
    if (name == nullptr) return failure(kBadProbeRequest, "\"ifname\" must be a text");
    Kernel kernel;
    Link link;
    const Found found = kernel.link(name, link);
    if (found == Found::No) return failure(kBadProbeRequest, std::string("No such interface: ") + name);
    if (found == Found::Failed) return failure(kKernelFailed, kernel.error());
    return reply(result_or_start(link.name));
}

int InternetAccess::result_or_start(const std::string& name) {
    const std::lock_guard lock(mutex_);
    drop_old_results();
    if (const auto found = probes_.find(name); found != probes_.end())
        return found->second.result.value_or(kProbeRuns);
    if (probes_.size() >= kMostProbes) return kTooManyProbes;
    Probe& probe = probes_[name];
    try {
        probe.thread = std::jthread([this, name, &probe](const std::stop_token& stop) { run(stop, name, probe); });
    } catch (const std::system_error&) {
        probes_.erase(name);
        return kTooManyProbes;
    }
    return kProbeRuns;
}

void InternetAccess::drop_old_results() {
    const auto now = steady_clock::now();
    // The thread of a finished probe takes the mutex no more: its end can be waited for.
    std::erase_if(probes_, [now](const auto& entry) {
        return entry.second.result && now - entry.second.finished >= kResultStands;
    });
}

void InternetAccess::run(const std::stop_token& stop, const std::string& name, Probe& probe) {
    int result = kUnreachable;
    try {
        result = probe_interface(name, stop);
    } catch (const std::exception&) {
        result = kUnreachable;  // memory is short; the next probe may do better
    }
    const std::lock_guard lock(mutex_);
    probe.result = result;
    probe.finished = steady_clock::now();
}

}  // namespace network
