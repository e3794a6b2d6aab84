// The SD-WAN library's way out of a step that failed: one ERROR line, one code.
#pragma once

#include <cstring>

#include "common/trace_log.h"

namespace harbex::corvane {

// Where a statement stands, as the trace log names it.
struct CallSite {
    const char* file;
    int line;
    const char* function;

    static CallSite here(const char* file = __builtin_FILE(), int line = __builtin_LINE(),
                         const char* function = __builtin_FUNCTION()) {
        const char* slash = std::strrchr(file, '/');
        return {slash == nullptr ? file : slash + 1, line, function};
    }
};

// Logs `words` and a line end as a statement at `site`.
inline void log_at(const CallSite& site, int level, const char* words) {
    if (system::is_trace_level_on(level)) {
        system::write_trace(level, site.file, site.line, site.function, _iot_lock_fd, "%s\n", words);
    }
}

// Logs `words` at ERROR, as if the caller had, and returns `code`.
inline int fail(int code, const char* words, const CallSite& site = CallSite::here()) {
    log_at(site, HARBEXLOG_ERROR, words);
    return code;
}

}  // namespace harbex::corvane
