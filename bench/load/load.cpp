// All of the daemon's methods from several clients at once, half of the time while others hold half-sent requests.
// Fails when a reply is missing or wrong, when descriptors are left, or when the daemon does not end well; what it
// costs is printed. A caller that finds the bus crowded is closed without a reply and may come again: it does.
//   bench_load [SECONDS]
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "median.h"
#include "nas.h"
#include "support/daemon.h"

namespace {

using bench::kMethods;
using Clock = std::chrono::steady_clock;

constexpr unsigned kClients = 8;
constexpr size_t kSlowClients = 60;
// Without slow clients, twice with them, twice without, and so on: memory that only grows meets both alike.
constexpr unsigned kSlices = 8;
// In each slice; their median counts: one moment differs from the next by a few percent.
constexpr unsigned kMoments = 5;

// The head of a request for Flush_timeout with a body of 100 bytes, and the first of them.
constexpr char kHalf[] = "BSSQ\1\0\0\0\15\0\0\0\144\0\0\0Flush_timeout{";

// Clients that send half a request, wait until the daemon has enough of them, and come again.
class SlowClients {
public:
    SlowClients() : thread_([this] { run(); }) {}
    ~SlowClients() {
        stop_ = true;
        thread_.join();
    }
    SlowClients(const SlowClients&) = delete;
    void operator=(const SlowClients&) = delete;

private:
    static int come() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/var/run/bsvc/harbex_network_service.sock");
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool sent = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                          send(fd, kHalf, sizeof kHalf - 1, MSG_NOSIGNAL) == sizeof kHalf - 1;
        if (sent) return fd;
        close(fd);
        return -1;  // poll passes over it
    }
    void run() {
        std::vector<pollfd> held(kSlowClients, {-1, POLLIN, 0});
        while (!stop_) {
            for (pollfd& one : held) {
                if (one.revents == 0 && one.fd >= 0) continue;
                if (one.fd >= 0) close(one.fd);
                one = {come(), POLLIN, 0};
            }
            poll(held.data(), held.size(), 50);
        }
        for (const pollfd& one : held)
            close(one.fd);
    }

    std::atomic<bool> stop_{false};
    std::thread thread_;  // last: it uses what stands above
};

struct Outcome {
    size_t calls = 0;
    size_t turned_away = 0;
    size_t failures = 0;
    std::string first_failure;
    std::vector<double> flushes_ms;

    void add(const Outcome& other) {
        if (failures == 0) first_failure = other.first_failure;
        calls += other.calls;
        turned_away += other.turned_away;
        failures += other.failures;
        flushes_ms.insert(flushes_ms.end(), other.flushes_ms.begin(), other.flushes_ms.end());
    }
    double p99_ms() {
        std::sort(flushes_ms.begin(), flushes_ms.end());
        return flushes_ms.empty() ? 0 : flushes_ms[flushes_ms.size() * 99 / 100];
    }
};

// One client's calls until `end`; every second one is the cheapest, whose time is taken. `chances`: how often it
// comes again when it is turned away.
Outcome call_until(Clock::time_point end, unsigned seed, int chances) {
    std::minstd_rand random(seed);
    Outcome outcome;
    while (Clock::now() < end) {
        const bench::Method& method = kMethods[outcome.calls % 2 == 0 ? 0 : random() % kMethods.size()];
        const std::string request = method.request();
        const auto start = Clock::now();
        std::string failure = bench::call(method, request);
        for (int left = chances; left > 0 && failure == bench::turned_away(method); left--) {
            outcome.turned_away++;
            failure = bench::call(method, request);
        }
        const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
        if (&method == kMethods.data()) outcome.flushes_ms.push_back(taken.count());
        if (!failure.empty() && outcome.failures++ == 0) outcome.first_failure = failure;
        outcome.calls++;
    }
    return outcome;
}

Outcome run_clients(std::chrono::duration<double> length, unsigned run, int chances) {
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(length);
    Outcome all;
    std::mutex mutex;
    bench::in_threads(kClients, [&](unsigned number) {
        const Outcome one = call_until(end, run * kClients + number + 1, chances);
        const std::lock_guard lock(mutex);
        all.add(one);
    });
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::strtod(argv[1], nullptr) : 60;
    bench::prepare_nas();
    harbex::test::Daemon daemon;
    if (!daemon.serving()) return 1;
    for (const bench::Method& method : kMethods)  // signed in first
        (void)bench::call(method, method.request());
    const size_t descriptors = daemon.open_descriptors();

    Outcome outcomes[2];
    std::vector<double> memories_kib[2];
    for (unsigned slice = 0; slice < kSlices; slice++) {
        const bool slow = (slice + 1) / 2 % 2 != 0;
        std::unique_ptr<SlowClients> slow_clients = slow ? std::make_unique<SlowClients>() : nullptr;
        for (unsigned moment = 0; moment < kMoments; moment++) {
            const std::chrono::duration<double> length(seconds / kSlices / kMoments);
            outcomes[slow].add(run_clients(length, slice * kMoments + moment, slow ? 3 : 0));
            memories_kib[slow].push_back(bench::memory_kib(daemon.pid(), "Private_Dirty"));
        }
    }
    const bool closed =
        harbex::test::wait_until([&] { return daemon.open_descriptors() <= descriptors; }, std::chrono::seconds(15));

    const double memory_kib[2] = {bench::median(memories_kib[0]), bench::median(memories_kib[1])};
    bench::report("private memory, half-sent requests / none", memory_kib[1], memory_kib[0], "KiB",
                  memory_kib[1] / memory_kib[0], 1.02);
    const double p99_ms[2] = {outcomes[0].p99_ms(), outcomes[1].p99_ms()};
    bench::report("p99 of Flush_timeout, half-sent requests / none", p99_ms[1], p99_ms[0], "ms",
                  p99_ms[1] / p99_ms[0], 3);
    std::printf(
        "%zu calls without slow clients, %zu with, %zu of them came twice; %zu descriptors before, %zu after\n",
        outcomes[0].calls, outcomes[1].calls, outcomes[1].turned_away, descriptors, daemon.open_descriptors());
    bool good = closed;
    for (const Outcome& outcome : outcomes) {
        if (outcome.failures == 0) continue;
        std::printf("%zu calls failed; the first: %s\n", outcome.failures, outcome.first_failure.c_str());
        good = false;
    }
    const harbex::test::Finished end = daemon.stop();
    if (end.status != 0) std::printf("the daemon ended with %d: %s\n", end.status, end.err.c_str());
    // In the words of the tests, of which this is one, too.
    const bool passed = good && end.status == 0;
    std::printf("[  %s  ] 1 tests.\n", passed ? "PASSED" : "FAILED");
    return passed ? 0 : 1;
}
