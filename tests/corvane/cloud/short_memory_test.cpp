#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "common/settings_files.h"
#include "corvane/cloud/edge_login.h"
#include "corvane/cloud/region_list.h"
#include "corvane/cloud/registration.h"
#include "corvane/cloud/status.h"
#include "corvane/cloud/unregistration.h"
#include "support/files.h"

namespace {
thread_local long until_failure = -1;  // allocations of this thread before the one that fails; -1: none does
}

// Optimising, GCC takes these two for a pair that does not belong together.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t size) {
    if (until_failure >= 0 && until_failure-- == 0) throw std::bad_alloc();
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return until_failure >= 0 && until_failure-- == 0 ? nullptr : std::malloc(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace harbex::corvane {
namespace {

const std::string kLong(100, 'x');
const std::string kTopology = R"({"data":{"vpnGroups":[{"groupId":"a group with an id","hubs":[1]}]}})";

TEST(ShortMemory, NothingIsThrown) {
    int (*const calls[])(std::string&, JsonValue&) = {
        [](std::string& text, JsonValue&) { return corvane_api_edge(kLong, text); },
        [](std::string&, JsonValue&) { return resolve_auto_region(kTopology); },
        [](std::string&, JsonValue& document) { return device_register(document) | device_unregister(document); },
        [](std::string&, JsonValue& document) { return get_region_list(document, kLong); },
        [](std::string&, JsonValue& document) { return get_corvane_status(document); },
    };
    test::write_text(system::kCorvaneConf, "[Join Corvane]\nCORVANE_REGION_ID = auto\n");
    for (size_t i = 0; i < std::size(calls); ++i) {
        bool failed = true;
        for (long nth = 0; failed && nth < 2000; ++nth) {
            std::string text;
            JsonValue document;
            until_failure = nth;
            EXPECT_NO_THROW((void)calls[i](text, document)) << i << ", allocation " << nth;
            failed = until_failure < 0;
            until_failure = -1;
        }
        EXPECT_FALSE(failed) << i;
    }
}

}  // namespace
}  // namespace harbex::corvane
