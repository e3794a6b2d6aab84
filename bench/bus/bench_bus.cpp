// What a call on the service bus costs beside what would be used instead, as ratios from alternating runs: a round of
// one, a round of the other, again and again, so that whatever else the machine does meets both.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "exchange.h"

namespace {

using bench::Exchange;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 41;
constexpr int kCallsARound = 500;
constexpr int kClients = 4;
constexpr int kServerThreads = 4;
constexpr int kCallsAClient = 1000;
// What a method without arguments sends, about, and what most replies are.
constexpr size_t kPayloads[] = {32, 1024};

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void call_or_die(const Exchange& exchange, const std::string& request) {
    if (exchange(request)) return;
    std::fprintf(stderr, "bench_bus: an exchange failed\n");
    std::exit(1);
}

// The median of one round's calls, in microseconds.
double time_calls(const Exchange& exchange, const std::string& request) {
    std::vector<double> calls_us;
    calls_us.reserve(kCallsARound);
    for (int i = 0; i < kCallsARound; ++i) {
        const auto start = Clock::now();
        call_or_die(exchange, request);
        calls_us.push_back(seconds_since(start) * 1e6);
    }
    return median(calls_us);
}

// Calls a second of several clients at once.
double count_calls(const Exchange& exchange, const std::string& request) {
    std::vector<std::thread> clients;
    clients.reserve(kClients);
    std::atomic<bool> go = false;
    for (int i = 0; i < kClients; ++i)
        clients.emplace_back([&] {
            go.wait(false);
            for (int k = 0; k < kCallsAClient; ++k)
                call_or_die(exchange, request);
        });
    const auto start = Clock::now();
    go = true;
    go.notify_all();
    for (std::thread& client : clients)
        client.join();
    return kClients * kCallsAClient / seconds_since(start);
}

struct Comparison {
    const char* name;
    const char* unit;
    double aim;
    bool at_most;  // the ratio is to be at most the aim; otherwise at least
};

bool compare(const Comparison& comparison, size_t payload, const Exchange& ours, const Exchange& other,
             double (*measure)(const Exchange&, const std::string&)) {
    const std::string request(payload, 'x');
    std::vector<double> own, others, ratios;
    (void)measure(ours, request);  // warm
    (void)measure(other, request);
    for (int i = 0; i < kRounds; ++i) {
        // Who goes first changes, too.
        const bool ours_first = i % 2 == 0;
        const double first = measure(ours_first ? ours : other, request);
        const double second = measure(ours_first ? other : ours, request);
        own.push_back(ours_first ? first : second);
        others.push_back(ours_first ? second : first);
        ratios.push_back(own.back() / others.back());
    }
    const double ratio = median(ratios);
    const bool met = comparison.at_most ? ratio <= comparison.aim : ratio >= comparison.aim;
    std::printf("%-46s %6zu %12.1f %12.1f %-8s %6.2f   %s %.2f  %s\n", comparison.name, payload, median(own),
                median(others), comparison.unit, ratio, comparison.at_most ? "<=" : ">=", comparison.aim,
                met ? "met" : "missed");
    std::fflush(stdout);
    return met;
}

}  // namespace

int main() {
    std::printf("%-46s %6s %12s %12s %-8s %6s   %s\n", "", "bytes", "bus", "other", "", "ratio", "aim");
    bool met = true;
    {
        bench::pin_to(0);
        const bench::Server bus([](const auto& ready) { bench::serve_bus(kServerThreads, ready); });
        const bench::Server bare([](const auto& ready) { bench::serve_bare(1, ready); });
        for (const size_t payload : kPayloads)
            met &= compare({"a call / bare socket exchange, one processor", "us", 1.5, true}, payload,
                           bench::exchange_bus, bench::exchange_bare, time_calls);
        const bench::DBusDaemon daemon;
        const bench::Server dbus([&](const auto& ready) { bench::serve_dbus(daemon.address(), ready); });
        const Exchange dbus_call = bench::dbus_exchange(daemon.address());
        for (const size_t payload : kPayloads)
            met &= compare({"a call / D-Bus, connection kept, one processor", "us", 0.8, true}, payload,
                           bench::exchange_bus, dbus_call, time_calls);
        bench::pin_to(-1);
    }
    {
        const bench::DBusDaemon daemon;
        const bench::Server bus([](const auto& ready) { bench::serve_bus(kServerThreads, ready); });
        const bench::Server dbus([&](const auto& ready) { bench::serve_dbus(daemon.address(), ready); });
        const Exchange dbus_call = bench::dbus_exchange(daemon.address());
        met &= compare({"a call / D-Bus, connection kept", "us", 0.8, true}, kPayloads[0], bench::exchange_bus,
                       dbus_call, time_calls);
    }
    const bench::Server bus([](const auto& ready) { bench::serve_bus(kServerThreads, ready); });
    const bench::Server bare([](const auto& ready) { bench::serve_bare(kServerThreads, ready); });
    for (const size_t payload : kPayloads)
        met &= compare({"4 clients / bare exchange, 4 server threads", "calls/s", 1.0, false}, payload,
                       bench::exchange_bus, bench::exchange_bare, count_calls);
    std::printf("%d processors; medians of %d alternating rounds. %s\n", bench::processors(), kRounds,
                met ? "All aims met." : "Some aims missed.");
    return 0;
}
