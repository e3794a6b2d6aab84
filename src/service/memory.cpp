#include "service/memory.h"

#include <jansson.h>
#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace harbex::service {
namespace {

// Left to itself the allocator raises this with the largest block that was ever freed, and such blocks then come from
// the heap.
constexpr int kOwnMapping = 128 * 1024;
// How much is handled between two looks for whole free pages: 64 small calls, or one large.
constexpr size_t kHandledBetween = 64 * 1024;
constexpr size_t kLeastOfCall = 1024;  // what a call leaves behind at least
constinit std::atomic<size_t> handled{0};

// jansson's parser ends the program, or loses characters, when it cannot have a few bytes more: what is set aside
// here is let go for it then. Untouched, it takes address space only.
constexpr size_t kReserved = 256 * 1024;
constinit std::atomic<void*> reserve{nullptr};

void set_reserve_aside() {
    if (reserve != nullptr) return;
    void* const block = malloc(kReserved);
    void* none = nullptr;
    if (!reserve.compare_exchange_strong(none, block)) free(block);
}

void* allocate_for_json(size_t size) {
    void* const block = malloc(size);
    if (block != nullptr) return block;
    free(reserve.exchange(nullptr));
    return malloc(size);
}

}  // namespace

void prepare_memory() {
    // A refusal leaves the defaults, which work as well.
    (void)mallopt(M_ARENA_MAX, 1);
    (void)mallopt(M_MMAP_THRESHOLD, kOwnMapping);
    (void)mallopt(M_TRIM_THRESHOLD, kOwnMapping);
    json_set_alloc_funcs(allocate_for_json, free);
    set_reserve_aside();
}

void tidy_memory(size_t request_size) {
    // The heap gives back by itself what is free at its end only; what is in use behind a large document keeps all of
    // it.
    if (handled += request_size + kLeastOfCall; handled >= kHandledBetween) {
        handled = 0;
        (void)malloc_trim(0);
    }
    set_reserve_aside();
}

}  // namespace harbex::service
