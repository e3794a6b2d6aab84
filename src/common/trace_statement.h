// The statement of the trace log. Its names are published, in common/trace_log.h, but for CallSite and the functions,
// which are the library's own.
#pragma once

#include <cstdint>
#include <cstring>

enum {
    HARBEXLOG_DEBUG = 10,
    HARBEXLOG_INFO = 20,
    HARBEXLOG_WARN = 30,
    HARBEXLOG_ERROR = 40,
    HARBEXLOG_CRITICAL = 50,
    HARBEXLOG_NOLOG = 100  // as a threshold: nothing is written
};
enum { HARBEXLOG_TYPE_STDOUT = 0, HARBEXLOG_TYPE_FILE = 1 };

// Threshold, destination (any other value than the two above writes nothing) and path of the log ("": no file). Plain
// variables: whoever changes them directly does so before a second thread logs. A threshold between two levels counts
// as the lower one: 41 still writes ERROR.
extern int32_t __cur_level__;
extern int32_t __cur_type__;
extern char __log_file__[256];

// The descriptor of the lock file that a statement of that namespace found open or left open, -1 for none.
namespace harbex::corvane {
extern int32_t _iot_lock_fd;
}
namespace harbex::system {
extern int32_t _iot_lock_fd;
}

// Appends "TIME PID [LEVEL] FILE [LINE] FUNCTION:" and the message, which brings its own "\n", to the log:
//     HARBEXLOG(HARBEXLOG_WARN, "No answer from %s\n", name);
// The arguments are evaluated only when the level is written. The lock descriptor is the `_iot_lock_fd` that the call
// site sees; outside the two namespaces above, a using-declaration picks one.
// May block while another process holds the lock file. Any thread may log, at exit as well; a child between fork and
// exec must not. Nothing is reported when the log cannot be written. `errno` is left as it was.
#define HARBEXLOG(level, fmt, ...)                                                                            \
    do {                                                                                                      \
        const int32_t harbexlog_level = (level);                                                              \
        if (::harbex::system::is_trace_level_on(harbexlog_level)) {                                           \
            ::harbex::system::write_trace(harbexlog_level, {__FILE_NAME__, __LINE__, __func__}, _iot_lock_fd, \
                                          fmt __VA_OPT__(, ) __VA_ARGS__);                                    \
        }                                                                                                     \
    } while (false)

namespace harbex::system {

// Where a statement stands, as the log names it.
struct CallSite {
    const char* file;
    int line;
    const char* function;

    // As a default argument: the place of the call.
    static CallSite here(const char* file = __builtin_FILE(), int line = __builtin_LINE(),
                         const char* function = __builtin_FUNCTION()) {
        const char* slash = std::strrchr(file, '/');
        return {slash == nullptr ? file : slash + 1, line, function};
    }
};

// The two halves of the statement, for HARBEXLOG and for helpers that log in their caller's name.
bool is_trace_level_on(int32_t level);
[[gnu::format(printf, 4, 5)]] void write_trace(int32_t level, const CallSite& site, int32_t& lock_fd,
                                               const char* format, ...);

// Makes `path` the log's. False, with it cut short, when it does not fit.
bool place_trace_log(const char* path);
// Puts the log back where it is at first.
void place_trace_log_by_default();

}  // namespace harbex::system
