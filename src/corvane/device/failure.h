// The SD-WAN library's way out of a step that failed: one ERROR line, one code. The library's own; the lines read as
// the caller's statements.
#pragma once

#include <string_view>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/trace_log.h"

namespace harbex::corvane {

using system::CallSite;

// Logs `words` and a line end.
inline void log_at(const CallSite& site, int level, const char* words) {
    if (system::is_trace_level_on(level)) system::write_trace(level, site, _iot_lock_fd, "%s\n", words);
}

// Logs "LABEL: TEXT" and a line end.
inline void log_at(const CallSite& site, int level, const char* label, const char* text) {
    if (system::is_trace_level_on(level)) system::write_trace(level, site, _iot_lock_fd, "%s: %s\n", label, text);
}

// Logs `words` at ERROR, null nothing, and returns `code`.
inline int fail(int code, const char* words, const CallSite& site = CallSite::here()) {
    if (words != nullptr) log_at(site, HARBEXLOG_ERROR, words);
    return code;
}

// The object or array in `text`; null, with "WORDS: <the parser's text>" logged at ERROR, when there is none.
[[nodiscard]] inline JsonOwner parse_or_log(std::string_view text, const char* words,
                                            const CallSite& site = CallSite::here()) {
    return parse_json(text, [&](const char* why) { log_at(site, HARBEXLOG_ERROR, words, why); });
}

// The rule for short memory: a published function of the SD-WAN library, and what the library's own interface offers
// to the daemon and the tools, lets nothing out. Each that needs memory is a function-try-block whose handler returns
// this: one ERROR line, and ERR_NO_MEMORY, or where a contract leaves no room for it the failure it names, or an
// empty text. Nothing else is thrown in the library. What was stored before stays; outputs may be filled in part.
template <typename Result = int>
[[nodiscard]] Result short_of_memory(Result result = ERR_NO_MEMORY, const CallSite& site = CallSite::here()) {
    log_at(site, HARBEXLOG_ERROR, "Out of memory");
    return result;
}

}  // namespace harbex::corvane
