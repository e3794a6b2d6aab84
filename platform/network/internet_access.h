// Whether the gateway behind an interface answers, found out in the background.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "envelope.h"

namespace network {

constexpr int kProbeRuns = -2;
constexpr int kReachable = 0;
constexpr int kNoWayOut = 1;         // the link is down, or has no default route
constexpr int kUnreachable = 2;      // the gateway does not answer
constexpr int kBadProbeRequest = 3;  // no "ifname", or no such interface
constexpr int kTooManyProbes = 4;

// The running probes and the results of the last seconds, an interface each. Any thread. Destruction ends what runs.
class InternetAccess {
public:
    InternetAccess() = default;
    ~InternetAccess();
    InternetAccess(const InternetAccess&) = delete;
    InternetAccess& operator=(const InternetAccess&) = delete;

    // {"error":…} for {"ifname":…}. The first question starts a probe and answers kProbeRuns, as every one does while
    // the probe runs (at most 3 s); its result then stands for 5 s.
    Json ask(const json_t* request);

private:
    struct Probe {
        std::optional<int> result;                       // guarded by mutex_
        std::chrono::steady_clock::time_point finished;  // guarded by mutex_
        std::jthread thread;                             // last: joined before the members that it writes go
    };
    int result_or_start(const std::string& name);
    void drop_old_results();  // mutex_ is held
    void run(const std::stop_token& stop, const std::string& name, Probe& probe);

    std::mutex mutex_;
    std::map<std::string, Probe> probes_;  // guarded by mutex_
};

}  // namespace network
