// The allocations of something, one after the other, as the first that fails.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "failing_allocator.h"

namespace bench {

// So many blocks may a library keep for later; a leak is one with every failure.
inline constexpr int64_t kKept = 200;

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

// For between fork and exec: puts the allocator in front of the libc of the next program.
void preload();

// The row of one thing that was starved.
void tell(const std::string& name, int64_t needed, const AllocatorPage& page, int64_t failed_before, int64_t grown);

// Starves the published flows of the library, each in a process of its own that is this program again. False at the
// first violation, which is printed.
bool starve_flows(double seconds);
// That process: flow `name`, from allocation `first` on.
int starve_flow_here(const std::string& name, double seconds, int64_t first);

}  // namespace bench
