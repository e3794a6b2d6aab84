// What the daemon's own memory is before its first call, and what it does over many calls and after large requests.
//   bench_memory
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "median.h"
#include "nas.h"
#include "support/daemon.h"

namespace {

using bench::kMethods;

constexpr unsigned kClients = 8;
constexpr size_t kFirstCalls = 10'000;
constexpr int kMoments = 9;
constexpr size_t kCallsBetween = 200;
constexpr size_t kMoreCalls = 100'000;
constexpr size_t kLarge = 1000 * 1000;

std::atomic<size_t> failures{0};

void call_mixed(size_t count) {
    std::atomic<size_t> next{0};
    bench::in_threads(kClients, [&](unsigned) {
        for (size_t number = next++; number < count; number = next++) {
            const bench::Method& method = kMethods[number % kMethods.size()];
            const std::string failure = bench::call(method, method.request());
            if (!failure.empty() && failures++ == 0) std::printf("%s\n", failure.c_str());
        }
    });
}

std::string repeated(const std::string& head, const std::string& part, const std::string& tail) {
    std::string text = head;
    while (text.size() < kLarge)
        text += part;
    return text + tail;
}

// Long texts and many small values; answered or refused, each is one call.
void call_large() {
    const struct {
        const char* method;
        std::string request;
    } calls[] = {
        {"Save_cloudtoken", repeated(R"({"oauth_response_encoded": ")", "abcdefgh", "\"}")},
        {"Get_corvanetoken", repeated(R"({"orgId": 1, "more": [1)", ",1.5,\"ab\",{}", "]}")},
        {"Update_and_check_timeout", repeated(R"({"mqtt_status": true, "more": [1)", R"(,{"a":[]})", "]}")},
        {"Flush_timeout", repeated("", "x", "")},
        {"no such method", repeated("", "x", "")},
    };
    bench::in_threads(kClients, [&](unsigned) {
        for (int i = 0; i < 10; i++)
            for (const auto& one : calls)
                (void)harbex::test::bus_call(harbex::test::kDaemonService, one.method, one.request);
    });
}

// The median of some moments between calls: one moment differs from the next by a few percent.
double settled_kib(pid_t pid) {
    std::vector<double> kib;
    for (int moment = 0; moment < kMoments; moment++) {
        call_mixed(kCallsBetween);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the daemon tidies up behind its replies
        kib.push_back(bench::memory_kib(pid, "Anonymous"));
    }
    return bench::median(kib);
}

// As the scripts start it: see appliance-service and the unit.
void set_environment() {
    setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_max=64", 1);
}

// Of a program that links the daemon's libraries and does nothing.
double idle_program_kib() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return 0;
    const pid_t child = harbex::test::start_program({IDLE_PROGRAM}, ends[1], STDERR_FILENO);
    close(ends[1]);
    char byte = 0;
    (void)!read(ends[0], &byte, 1);  // until it closes its end
    close(ends[0]);
    const double kib = bench::memory_kib(child, "Anonymous");
    kill(child, SIGKILL);
    (void)harbex::test::wait_for(child);
    return kib;
}

}  // namespace

int main() {
    bench::prepare_nas();
    const harbex::test::Daemon daemon(set_environment);
    if (!daemon.serving()) return 1;
    const double idle_kib = bench::memory_kib(daemon.pid(), "Anonymous");
    const double floor_kib = idle_program_kib();
    for (const bench::Method& method : kMethods)
        (void)bench::call(method, method.request());
    call_mixed(kFirstCalls);
    const double first_kib = settled_kib(daemon.pid());
    call_mixed(kMoreCalls);
    const double more_kib = settled_kib(daemon.pid());
    call_large();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const double large_kib = bench::memory_kib(daemon.pid(), "Anonymous");

    // File pages are left out: they are private only while no other process happens to have the same libraries.
    // Nearly all of the floor are the libraries' tables of addresses, filled in as they are loaded.
    bench::report("idle daemon, anonymous memory / its libraries alone", idle_kib, floor_kib, "KiB",
                  idle_kib / floor_kib, 1.5);
    bench::report("anonymous memory, 110,000 calls / 10,000", more_kib, first_kib, "KiB", more_kib / first_kib, 1.02);
    bench::report("anonymous memory, large requests - none, MiB", large_kib, more_kib, "KiB",
                  (large_kib - more_kib) / 1024, 2);
    return failures == 0 ? 0 : 1;
}
