// The allocations of something, one after the other, as the first that fails.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include "failing_allocator.h"

namespace bench {

// So many allocations does `run` make, through the allocator that watches the page.
template <typename Run>
int64_t count_allocations(AllocatorPage& page, Run run) {
    page.countdown = int64_t{1} << 40;
    run();
    return (int64_t{1} << 40) - page.countdown.exchange(0);
}

// Calls `one` with the number of the allocation that is to fail: all in turn from `first` on, or as many, evenly
// spread, as there is time for. Ends when `one` tells that none failed any more (0), or that something is wrong (-1);
// it returns 1 otherwise. False when something was wrong.
template <typename One>
bool starve(int64_t first, int64_t needed, double seconds, One one) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    double tries = 0;
    for (int64_t number = first;;) {
        const int found = one(number);
        if (found <= 0) return found == 0;
        const double passed = std::chrono::duration<double>(Clock::now() - start).count();
        const double fitting = (seconds - passed) / (passed / ++tries);
        const int64_t left = needed > number ? needed - number : 0;
        number += 1 + (fitting < 1 ? left : static_cast<int64_t>(static_cast<double>(left) / fitting));
    }
}

AllocatorPage& allocator_page();

// What a pass of `starve` had and left: failures, and blocks more in use.
struct Passed {
    int64_t failed;
    int64_t grown;
};

// One pass, `pass()`, and a second when more blocks are in use behind it: what a library keeps it keeps once, a leak
// is one with each failure. Nothing when a pass was wrong or the second leaks as well.
template <typename Pass>
std::optional<Passed> leave_nothing(AllocatorPage& page, Pass pass) {
    Passed passed{};
    for (int number = 1; number <= 2; number++) {
        const int64_t in_use = page.in_use;
        const int64_t failed = page.failed;
        if (!pass()) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the daemon tidies up behind its reply
        passed = {page.failed - failed, page.in_use - in_use};
        if (passed.grown <= std::max<int64_t>(passed.failed / 10, 10)) return passed;
    }
    std::printf("%lld blocks more in use behind %lld failures, for the second time\n",
                static_cast<long long>(passed.grown), static_cast<long long>(passed.failed));
    return std::nullopt;
}

// For between fork and exec: puts the allocator in front of the libc of the next program.
void preload();

// The row of one thing that was starved.
void tell(const std::string& name, int64_t needed, const Passed& passed);

// Starves the published flows of the library, each in a process of its own that is this program again. False at the
// first violation, which is printed.
bool starve_flows(double seconds);
// That process: flow `name`, from allocation `first` on.
int starve_flow_here(const std::string& name, double seconds, int64_t first);

}  // namespace bench
