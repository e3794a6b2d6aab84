// The envelope of every reply. The daemon's own.
#pragma once

#include <bsvc.h>
#include <jansson.h>

namespace harbex::service {

// Replaces the stream's bytes by {"data": PAYLOAD, "error": 0, "meta": {"version": "1.0"}} and sends them. Takes
// ownership of `payload`. E_JSON_FAIL, and nothing sent, for a null payload (one that could not be built); E_SUCCESS
// otherwise: a reply that cannot be dumped or written is logged and dropped.
[[nodiscard]] int send_success_response(bs_io* io, json_t* payload);

// Replaces the stream's bytes by {"data": "", "error": CODE, "error_message": MESSAGE, "meta": …} and sends them.
// Returns `code`, for the handler to hand on.
int send_error_response(bs_io* io, int code, const char* message);

}  // namespace harbex::service
