// One call of another bus service by the daemon, with the words its steps write to the daemon's log. The daemon's
// own.
#pragma once

#include <jansson.h>

#include "common/json_owner.h"

namespace harbex::service {

// Whom to call, how long to wait, and what to log.
struct BusCall {
    const char* service;
    const char* method;
    int timeout_s;
    const char* announcement;  // before the call, at DEBUG
    const char* call_failed;   // at ERROR, like the two below
    const char* no_reply = "Failed to read response";
    const char* rejected = "Failed to check bsh response";  // "": the checker's line in the trace log says it
};

struct BusReply {
    int result;           // E_SUCCESS, E_JSON_FAIL: the arguments could not be written, E_BS_FAIL: any later step
    const char* failure;  // the words of the step that failed, logged already; "" when it has none
    JsonOwner document;   // the whole reply, "error" 0, "data" not looked at; null on failure
};

// Calls `call.service`.`call.method` with `arguments` (borrowed; null: an empty request), waits for the reply and
// checks it. Blocks for at most the call's time-out. Arguments that cannot be written are the caller's to report.
[[nodiscard]] BusReply call_service(const BusCall& call, const json_t* arguments = nullptr);

}  // namespace harbex::service
