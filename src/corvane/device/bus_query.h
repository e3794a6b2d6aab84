// One call of another bus service by the SD-WAN library, with the words each of its steps logs; the operations are
// its data. The library's own.
#pragma once

#include <jansson.h>

#include "common/bus_exchange.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {

using system::BusStep;

// Words without a line end. INFO lines are left out when they are null; a failure without words of its own is logged
// in the general ones of its kind.
struct BusQuery {
    const char* service;
    const char* method;
    const char* announcement = nullptr;   // INFO, before the call
    const char* no_stream = nullptr;      // ERROR, like all below but the label; null: as a failed call
    const char* bad_arguments = nullptr;  // null: as a failed call
    const char* call_failed = nullptr;    // null: "<caller>: bs_call failed, method: <method>, ret: <result>"
    const char* no_reply = nullptr;       // null: an empty reply is one that cannot be parsed
    const char* reply_label = nullptr;    // INFO, "<label>: <reply>"
    const char* unparsable = nullptr;     // "<words>: <the parser's text>"; null: the line of bsh_response_checker
    bool check_envelope = false;          // whether bsh_response_checker judges the reply
    const char* rejected = nullptr;       // a last line for an unparsable reply or one that the checker refused
};

struct BusAnswer {
    BusStep stopped_at;  // kDone, or the step that failed; it is logged
    JsonOwner document;  // the whole reply; null on failure
};

// Calls with `arguments` (borrowed; null: an empty request) and waits for the reply, for at most 60 s. What is logged
// reads as the caller's own statements.
[[nodiscard]] BusAnswer query_service(const BusQuery& query, const json_t* arguments = nullptr,
                                      const CallSite& caller = CallSite::here());

// The same for a call whose reply nobody reads. True: it succeeded.
[[nodiscard]] bool notify_service(const BusQuery& query, const json_t* arguments = nullptr,
                                  const CallSite& caller = CallSite::here());

}  // namespace harbex::corvane
