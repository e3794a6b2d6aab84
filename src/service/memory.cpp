#include "service/memory.h"

#include <malloc.h>

#include <cstddef>

namespace harbex::service {
namespace {

// Left to itself the allocator raises this with the largest block that was ever freed, and such blocks then come from
// the heap.
constexpr int kOwnMapping = 128 * 1024;
// Below this, handing memory back and forth costs more than it is worth.
constexpr size_t kMuchFreed = 512 * 1024;

}  // namespace

void keep_heap_small() {
    // A refusal leaves the defaults, which work as well.
    (void)mallopt(M_ARENA_MAX, 1);
    (void)mallopt(M_MMAP_THRESHOLD, kOwnMapping);
    (void)mallopt(M_TRIM_THRESHOLD, kOwnMapping);
}

void return_freed_memory() {
    // The heap gives back by itself what is free at its end only; what is in use behind a large document keeps all of
    // it.
    if (mallinfo2().fordblks > kMuchFreed) (void)malloc_trim(0);
}

}  // namespace harbex::service
