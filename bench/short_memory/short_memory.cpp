// Every bus method with its first allocation failing, then its second, and so on until it needs no more. The daemon
// has to reply, or to close the connection, and to answer the next call; what it has in use must not grow.
//   bench_short_memory [SECONDS]     at most so long a method; what is left out is said
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "failing_allocator.h"
#include "load/nas.h"
#include "support/daemon.h"

namespace {

using Clock = std::chrono::steady_clock;

// So many blocks may a library keep for later; a leak is one with every failure.
constexpr int64_t kKept = 200;

bench::AllocatorPage* make_page() {
    const int file = open(bench::kAllocatorPage, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(bench::AllocatorPage)) != 0) std::exit(1);
    void* const mapped = mmap(nullptr, sizeof(bench::AllocatorPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return new (mapped) bench::AllocatorPage;
}

void preload() {
    static const std::string library =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("libfailing_allocator.so");
    setenv("LD_PRELOAD", library.c_str(), 1);
}

// "" when the daemon replies with an envelope, of whatever error, or not at all.
std::string judge(const bench::Method& method, const std::string& request) {
    const harbex::test::BusReply reply = harbex::test::bus_call(harbex::test::kDaemonService, method.name, request);
    // Of an error reply that cannot be written the caller gets no bytes.
    const bool nothing = reply.result == BS_CALL_CLOSED || (reply.result == BS_CALL_OK && reply.text.empty());
    if (nothing || reply.error() >= 0) return "";
    return std::to_string(reply.result) + " " + reply.text;
}

struct Tally {
    int64_t failures = 0;
    int64_t skipped = 0;  // allocations that were not made to fail
};

// Goes through the allocations of one method, at least so fast that it ends after `seconds`. False at the first
// violation, which is printed.
bool starve(const bench::Method& method, bench::AllocatorPage& page, double seconds, Tally& tally) {
    page.countdown = int64_t{1} << 40;
    (void)bench::call(method, method.request());
    const int64_t needed = (int64_t{1} << 40) - page.countdown.exchange(0);
    const int64_t in_use = page.in_use;
    const auto start = Clock::now();
    int64_t step = 1;
    for (int64_t number = 1;; number += step) {
        const std::string request = method.request();
        page.countdown = number;
        std::string wrong = judge(method, request);
        if (page.countdown.exchange(0) > 0) break;
        tally.failures++;
        tally.skipped += step - 1;
        if (wrong.empty()) wrong = bench::call(bench::kMethods[0], "");
        if (!wrong.empty()) {
            std::printf("%s, allocation %lld: %s\n", method.name, static_cast<long long>(number), wrong.c_str());
            return false;
        }
        const double passed = std::chrono::duration<double>(Clock::now() - start).count();
        const double each = passed / static_cast<double>(tally.failures);
        const double fitting = (seconds - passed) / each;
        step = fitting < 1 ? needed : 1 + static_cast<int64_t>(static_cast<double>(needed - number) / fitting);
    }
    const std::string after = bench::call(method, method.request());
    const int64_t grown = page.in_use - in_use;
    std::printf("%-28s %8lld allocations, %7lld failed, %6lld passed over, %lld blocks more in use\n", method.name,
                static_cast<long long>(needed), static_cast<long long>(tally.failures),
                static_cast<long long>(tally.skipped), static_cast<long long>(grown));
    std::fflush(stdout);
    if (!after.empty()) std::printf("afterwards: %s\n", after.c_str());
    return after.empty() && grown <= kKept;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::strtod(argv[1], nullptr) : 600;
    bench::AllocatorPage& page = *make_page();
    bench::prepare_nas();
    harbex::test::Daemon daemon(preload);
    if (!daemon.serving()) return 1;
    for (const bench::Method& method : bench::kMethods)
        (void)bench::call(method, method.request());
    bool passed = true;
    int64_t failures = 0;
    for (auto method = bench::kMethods.rbegin(); passed && method != bench::kMethods.rend(); ++method) {
        Tally tally;
        passed = starve(*method, page, seconds, tally);
        failures += tally.failures;
    }
    const harbex::test::Finished end = daemon.stop();
    if (end.status != 0) std::printf("the daemon ended with %d: %s\n", end.status, end.err.c_str());
    passed = passed && end.status == 0;
    std::printf("%lld allocations failed\n[  %s  ] 1 tests.\n", static_cast<long long>(failures),
                passed ? "PASSED" : "FAILED");
    return passed ? 0 : 1;
}
