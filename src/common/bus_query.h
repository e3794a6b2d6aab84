// One call of another bus service by the library, with the words each of its steps logs; the operations are its data.
#pragma once

#include <jansson.h>

#include "common/failure.h"
#include "common/json_owner.h"

namespace harbex::corvane {

// Words without a line end. A null text logs nothing for its step, unless said otherwise.
struct BusQuery {
    const char* service;
    const char* method;
    const char* announcement = nullptr;   // INFO, before the call
    const char* no_stream = nullptr;      // ERROR, like the failures below; null: a failed call with the result -1
    const char* bad_arguments = nullptr;  // likewise
    const char* call_failed = nullptr;    // null: "<caller>: bs_call failed, method: <method>, ret: <result>"
    const char* no_reply = nullptr;       // null: an empty reply is left to the parser
    const char* reply_label = nullptr;    // INFO, "<label>: <reply>"
    const char* unparsable = nullptr;     // "<words>: <the parser's text>"
    bool check_envelope = false;          // whether bsh_response_checker judges the reply
    const char* rejected = nullptr;       // for both an unparsable reply (beside `unparsable`) and a rejected one
};

enum class BusStep { kDone, kStream, kArguments, kCall, kRead, kParse, kCheck };

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
