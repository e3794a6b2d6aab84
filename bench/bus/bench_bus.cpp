// What a call on the service bus costs beside what would be used instead.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "exchange.h"
#include "measure.h"

namespace {

using bench::Exchange;
using bench::Must;
using Clock = std::chrono::steady_clock;

constexpr int kCalls = 3000;
constexpr int kServerThreads = 4;
constexpr unsigned kClients = 4;
constexpr size_t kCallsAClient = 5000;
// What a method without arguments sends, about, and what most replies are.
constexpr size_t kPayloads[] = {32, 1024};

double call_us(const Exchange& exchange, const std::string& request) {
    return bench::time_each_us(kCalls, [&] { bench::require(exchange(request), "an exchange failed"); });
}

struct Crowd {
    double calls_per_s, p99_us;
};

Crowd measure_crowd(const Exchange& exchange, const std::string& request) {
    std::vector<std::vector<double>> times_us(kClients);
    std::vector<std::thread> clients;
    clients.reserve(kClients);
    std::atomic<bool> go = false;
    for (std::vector<double>& own : times_us)
        clients.emplace_back([&] {
            own.reserve(kCallsAClient);
            go.wait(false);
            while (own.size() < kCallsAClient) {
                const auto start = Clock::now();
                bench::require(exchange(request), "an exchange failed");
                own.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
            }
        });
    const auto start = Clock::now();
    go = true;
    go.notify_all();
    for (std::thread& client : clients)
        client.join();
    const double took_s = std::chrono::duration<double>(Clock::now() - start).count();
    std::vector<double> all_us;
    for (const std::vector<double>& own : times_us)
        all_us.insert(all_us.end(), own.begin(), own.end());
    const auto p99 = all_us.begin() + static_cast<ptrdiff_t>(all_us.size() * 99 / 100);
    std::nth_element(all_us.begin(), p99, all_us.end());
    return {kClients * kCallsAClient / took_s, *p99};
}

void compare_with_bare(bench::Session session, const char* where, Must must) {
    const bench::Server bus([](const auto& ready) { bench::serve_bus(kServerThreads, ready); }, session);
    const bench::Server bare([](const auto& ready) { bench::serve_bare(1, ready); }, session);
    for (const size_t payload : kPayloads) {
        const std::string request(payload, 'x');
        bench::compare(
            "bus call of " + std::to_string(payload) + " B / bare exchange, one processor" + where, "µs", must, 1.18,
            [&] { return call_us(bench::exchange_bus, request); },
            [&] { return call_us(bench::exchange_bare, request); });
    }
}

void compare_with_dbus() {
    const bench::Server bus([](const auto& ready) { bench::serve_bus(kServerThreads, ready); });
    const bench::DBusDaemon daemon;
    const bench::Server dbus([&](const auto& ready) { bench::serve_dbus(daemon.address(), ready); });
    const Exchange dbus_call = bench::dbus_exchange(daemon.address());
    for (const size_t payload : kPayloads) {
        const std::string request(payload, 'x');
        bench::compare(
            "bus call of " + std::to_string(payload) + " B / D-Bus, connection kept, one processor", "µs",
            Must::kAtMost, 0.6, [&] { return call_us(bench::exchange_bus, request); },
            [&] { return call_us(dbus_call, request); });
    }
}

void compare_crowd() {
    const bench::Server bus([](const auto& ready) { bench::serve_bus(kServerThreads, ready); });
    const bench::Server bare([](const auto& ready) { bench::serve_bare(kServerThreads, ready); });
    const std::string request(kPayloads[0], 'x');
    bench::compare(
        "4 clients on the bus / bare exchange, 4 server threads", "calls/s", Must::kAtLeast, 0.8,
        [&] { return measure_crowd(bench::exchange_bus, request).calls_per_s; },
        [&] { return measure_crowd(bench::exchange_bare, request).calls_per_s; });
    bench::compare(
        "99th percentile of these calls", "µs", Must::kReport, 0,
        [&] { return measure_crowd(bench::exchange_bus, request).p99_us; },
        [&] { return measure_crowd(bench::exchange_bare, request).p99_us; });
}

}  // namespace

int main() {
    bench::pin_to(0);
    compare_with_bare(bench::Session::kCallers, "", Must::kAtMost);
    compare_with_bare(bench::Session::kOwn, ", servers in sessions of their own", Must::kReport);
    compare_with_dbus();
    bench::pin_to(-1);
    compare_crowd();
}
