// What of a log line or a settings file may be shown to strangers. Everything else becomes "…".
#pragma once

#include <string>
#include <string_view>

namespace harbex::tools {

// Of a line of the trace log or of the service log: time, level, place, numbers, and words that stand in the sources.
// "" for a line without time and level.
std::string redacted_log_line(std::string_view line);

// Of a line of a settings file: sections and keys that are known, and the values of those that hold nothing of a
// user.
std::string redacted_setting(std::string_view line);

// The words of the sources' text literals and the names of its files, sorted, each with a line break behind it.
// Generated when the program is built.
extern const char kKnownWords[];

}  // namespace harbex::tools
