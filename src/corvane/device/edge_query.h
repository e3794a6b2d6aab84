// The queries of the edge daemon. The library's own.
#pragma once

#include "common/service_names.h"
#include "corvane/device/bus_query.h"

namespace harbex::corvane {

// What they have in common; an operation adds its own words.
constexpr BusQuery edge_query(const char* method, const char* call_failed) {
    return {
        .service = system::kEdgeDaemon,
        .method = method,
        .no_stream = "Failed to create io",
        .call_failed = call_failed,
        .no_reply = "Failed to read bsh output",
        .reply_label = "bsh output",
    };
}

}  // namespace harbex::corvane
