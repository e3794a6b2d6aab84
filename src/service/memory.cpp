#include "service/memory.h"

#include <malloc.h>

#include <atomic>
#include <cstddef>

#include "common/json_owner.h"

namespace harbex::service {
namespace {

// Left to itself the allocator raises this with the largest block that was ever freed, and such blocks then come from
// the heap.
constexpr int kOwnMapping = 128 * 1024;
// How much is handled between two looks for whole free pages: 64 small calls, or one large.
constexpr size_t kHandledBetween = 64 * 1024;
constexpr size_t kLeastOfCall = 1024;  // what a call leaves behind at least
constinit std::atomic<size_t> handled{0};

}  // namespace

void prepare_memory() {
    // A refusal leaves the defaults, which work as well.
    (void)mallopt(M_ARENA_MAX, 1);
    (void)mallopt(M_MMAP_THRESHOLD, kOwnMapping);
    (void)mallopt(M_TRIM_THRESHOLD, kOwnMapping);
    set_json_memory_aside();
}

void tidy_memory(size_t request_size) {
    // The heap gives back by itself what is free at its end only; what is in use behind a large document keeps all of
    // it.
    if (handled += request_size + kLeastOfCall; handled >= kHandledBetween) {
        handled = 0;
        (void)malloc_trim(0);
    }
    set_json_memory_aside();
}

}  // namespace harbex::service
