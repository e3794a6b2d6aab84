// Bytes a second of the interfaces that somebody watches.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "envelope.h"

namespace network {

struct RateSample {
    std::chrono::steady_clock::time_point time;
    int ifindex = 0;
    uint64_t rx_bytes = 0, tx_bytes = 0;
};

struct Rates {
    double rx = 0.0, tx = 0.0;  // bytes a second
    bool operator==(const Rates&) const = default;
};

// The last sample of each interface. Any thread.
class RateHistory {
public:
    // The rates between the interface's last sample and `now`. A sample that follows within half a second is not
    // counted and gets the rates of the one before. 0.0 when the counters went back or the interface is another one
    // of that name. Nothing when there is no sample of the last minute: add() then takes two samples.
    std::optional<Rates> rates(const std::string& name, const RateSample& now);
    // The rates between two samples; the later one is kept as the interface's last.
    Rates add(const std::string& name, const RateSample& earlier, const RateSample& later);

private:
    struct Entry {
        RateSample sample;
        Rates rates;
    };
    void keep(const std::string& name, const Entry& entry);  // mutex_ is held

    std::mutex mutex_;
    std::map<std::string, Entry> entries_;  // guarded by mutex_; at most 64, the oldest gives way
};

// The errors of get_info_interfaces.
constexpr int kNoSuchInterface = 1;
constexpr int kBadInterfaceRequest = 2;

// {"error":0,"data":{"rx_rate","tx_rate","rx_bytes","tx_bytes"}} for {"name_interface":…}. A first question about an
// interface takes two samples and blocks for 0.15 s.
Json interface_info(const json_t* request, RateHistory& history);

}  // namespace network
