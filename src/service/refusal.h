// What every handler does when a step fails. The daemon's own.
#pragma once

#include "service/logger.h"
#include "service/reply_envelope.h"

namespace harbex::service {

// Logs `words` at ERROR. Returns `code`, for the caller to hand on.
inline int failed(int code, const char* words) {
    Logger::Log(ERROR, "%s", words);
    return code;
}

// Logs `words` at ERROR and answers with them. Returns `code`.
inline int refuse(bs_io* io, int code, const char* words) {
    return send_error_response(io, failed(code, words), words);
}

}  // namespace harbex::service
