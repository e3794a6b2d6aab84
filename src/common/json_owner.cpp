#include "common/json_owner.h"

#include <atomic>
#include <cstddef>

namespace harbex {
namespace {

// Untouched, it takes address space only.
constexpr size_t kReserved = 256 * 1024;
constinit std::atomic<void*> reserve{nullptr};

void* allocate_for_json(size_t size) {
    void* const block = malloc(size);
    if (block != nullptr) return block;
    free(reserve.exchange(nullptr));
    return malloc(size);
}

bool stand_in_front_of_malloc() {
    json_malloc_t allocate = nullptr;
    json_free_t release = nullptr;
    json_get_alloc_funcs(&allocate, &release);
    if (allocate != malloc || release != free) return false;
    json_set_alloc_funcs(allocate_for_json, free);
    return true;
}

}  // namespace

void set_json_memory_aside() {
    static const bool is_ours = stand_in_front_of_malloc();
    if (!is_ours || reserve != nullptr) return;
    void* const block = malloc(kReserved);
    void* none = nullptr;
    if (!reserve.compare_exchange_strong(none, block)) free(block);
}

JsonOwner load_json(std::string_view text, json_error_t* error) {
    set_json_memory_aside();
    return JsonOwner(json_loadb(text.data(), text.size(), 0, error));
}

}  // namespace harbex
