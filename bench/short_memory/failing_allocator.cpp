// Preloaded: an allocator in front of libc's that fails one allocation, the one at which the countdown of a shared
// page comes to its end, and counts what is in use. Programs started by this one do without it.
#include "failing_allocator.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

constinit bench::AllocatorPage own_page;
constinit bench::AllocatorPage* page = &own_page;

[[gnu::constructor]] void attach() {
    const int file = open(bench::kAllocatorPage, O_RDWR | O_CLOEXEC);
    if (file < 0) return;
    void* const mapped = mmap(nullptr, sizeof(bench::AllocatorPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (mapped != MAP_FAILED) page = static_cast<bench::AllocatorPage*>(mapped);
    unsetenv("LD_PRELOAD");
}

bool fails() {
    if (page->countdown <= 0 || page->countdown-- != 1) return false;
    ++page->failed;
    errno = ENOMEM;
    return true;
}

void* counted(void* block) {
    if (block != nullptr) ++page->in_use;
    return block;
}

}  // namespace

extern "C" {

void* malloc(size_t size) {
    return fails() ? nullptr : counted(__libc_malloc(size));
}
void* calloc(size_t count, size_t size) {
    return fails() ? nullptr : counted(__libc_calloc(count, size));
}
void* realloc(void* block, size_t size) {
    if (fails()) return nullptr;
    return block == nullptr ? counted(__libc_realloc(block, size)) : __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
    return fails() ? nullptr : counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    void* const found = memalign(alignment, size);
    if (found == nullptr) return ENOMEM;
    *block = found;
    return 0;
}
void free(void* block) {
    if (block != nullptr) --page->in_use;
    __libc_free(block);
}
}
