// The page through which bench_short_memory tells the preloaded allocator when to fail.
#pragma once

#include <atomic>
#include <cstdint>

namespace bench {

inline constexpr const char* kAllocatorPage = "/dev/shm/failing_allocator";

struct AllocatorPage {
    std::atomic<int64_t> countdown{0};  // the allocation that fails, counted from now; 0: none
    std::atomic<int64_t> failed{0};     // so many have
    std::atomic<int64_t> in_use{0};     // blocks
    std::atomic<int64_t> reached{0};    // the allocation that a flow's process is at
};

}  // namespace bench
