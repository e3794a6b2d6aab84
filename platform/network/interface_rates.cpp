#include "interface_rates.h"

#include <algorithm>
#include <thread>

#include "kernel.h"

namespace network {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kShortest{500};
constexpr std::chrono::seconds kLongest{60};
constexpr std::chrono::milliseconds kFirstWindow{150};
constexpr std::size_t kMostEntries = 64;

Rates between(const RateSample& from, const RateSample& to) {
    const double seconds = std::chrono::duration<double>(to.time - from.time).count();
    if (from.ifindex != to.ifindex || to.rx_bytes < from.rx_bytes || to.tx_bytes < from.tx_bytes || seconds <= 0.0)
        return {};
    return {static_cast<double>(to.rx_bytes - from.rx_bytes) / seconds,
            static_cast<double>(to.tx_bytes - from.tx_bytes) / seconds};
}

Found take_sample(Kernel& kernel, const std::string& name, RateSample& sample) {
    Link link;
    const Found found = kernel.link(name, link);
    if (found == Found::Yes) sample = {steady_clock::now(), link.index, link.rx_bytes, link.tx_bytes};
    return found;
}

Json info(const Rates& rates, const RateSample& sample) {
    return success(Json(json_pack("{s:f, s:f, s:I, s:I}", "rx_rate", rates.rx, "tx_rate", rates.tx, "rx_bytes",
                                  static_cast<json_int_t>(sample.rx_bytes), "tx_bytes",
                                  static_cast<json_int_t>(sample.tx_bytes))));
}

Json no_sample(const Kernel& kernel, Found found, const std::string& name) {
    if (found == Found::No) return failure(kNoSuchInterface, "No such interface: " + name);
    return failure(kKernelFailed, kernel.error());
}

}  // namespace

void RateHistory::keep(const std::string& name, const Entry& entry) {
    entries_[name] = entry;
    if (entries_.size() <= kMostEntries) return;
    entries_.erase(std::ranges::min_element(entries_, {}, [](const auto& e) { return e.second.sample.time; }));
}

std::optional<Rates> RateHistory::rates(const std::string& name, const RateSample& now) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(name);
    if (found == entries_.end()) return std::nullopt;
    const Entry& last = found->second;
    // Another thread may have kept a sample taken after this one: less than nothing has passed.
    const auto age = now.time - last.sample.time;
    if (age > kLongest) return std::nullopt;
    const bool restarted = now.ifindex != last.sample.ifindex || now.rx_bytes < last.sample.rx_bytes ||
                           now.tx_bytes < last.sample.tx_bytes;
    if (age <= age.zero() || (age < kShortest && !restarted)) return last.rates;
    const Rates rates = between(last.sample, now);
    keep(name, {now, rates});
    return rates;
}

Rates RateHistory::add(const std::string& name, const RateSample& earlier, const RateSample& later) {
    const Rates rates = between(earlier, later);
    const std::lock_guard lock(mutex_);
    keep(name, {later, rates});
    return rates;
}

Json interface_info(const json_t* request, RateHistory& history) {
    const char* name = json_string_value(json_object_get(request, "name_interface"));
    if (name == nullptr) return failure(kBadInterfaceRequest, "\"name_interface\" must be a text");
    Kernel kernel;
    RateSample sample;
    Found found = take_sample(kernel, name, sample);
    if (found != Found::Yes) return no_sample(kernel, found, name);
    if (const auto rates = history.rates(name, sample)) return info(*rates, sample);

    const RateSample first = sample;
    std::this_thread::sleep_for(kFirstWindow);
    found = take_sample(kernel, name, sample);
    if (found != Found::Yes) return no_sample(kernel, found, name);
    return info(history.add(name, first, sample), sample);
}

}  // namespace network
