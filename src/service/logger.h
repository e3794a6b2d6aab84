// The daemon's own log; the library's lines go to the trace log. The daemon's own.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace harbex::service {

enum LogLevel { INFO = 0, DEBUG = 1, ERROR = 2, FATAL = 3 };

// The daemon's own log: one file, appended to, one flushed line a call: "[time][LEVEL] message".
// Any thread may write; lines never mix.
class Logger {
public:
    // Null: logging is off and lines are dropped. Once threads run, only this module touches it (under its mutex).
    static std::ostream* out;

    // `fmt` without a newline. DEBUG and ERROR print their names, every other level prints UNKNOWN: readers of these
    // logs rely on that. Messages of any length are written whole. Reports no failure.
    [[gnu::format(printf, 2, 3)]] static void Log(LogLevel level, const char* fmt, ...) noexcept;
};

// Chooses the log's path (the application's install path decides), opens it and switches logging on.
// Ends the process with status 1, one line on standard error, when the file cannot be opened.
void init_logger();

// The path of the log as init_logger last chose it.
std::string current_log_path();

// Closes, rotates and reopens the log unless less than 61 seconds have passed since that was last done. Meant to be
// called after each call that found its method. While one thread rotates, lines of others are dropped.
void check_log_rotation();

// Whether the log is due at `now_s` when it was last looked after at `last_s` (seconds since the epoch). A clock that
// was set back is not.
bool is_rotation_due(int64_t now_s, int64_t last_s);

}  // namespace harbex::service
