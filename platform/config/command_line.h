// What getcfg and setcfg have in common as programs.
#pragma once

#include <string>
#include <string_view>

namespace settings {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 64;

struct Arguments {
    char** positional = nullptr;  // as many as were asked for
    const char* file = nullptr;   // -f
    const char* fallback = "";    // -d
};

// Takes `count` positional arguments in a row, and pairs of an option (a letter of `options`) and its value before or
// behind them. Any text may stand in any place, "-f" and "" included: what can be read in two ways is read with the
// positional ones first. False when it can be read in none or the file is missing.
bool parse_arguments(int argc, char** argv, int count, std::string_view options, Arguments& arguments);

// Writes one line on standard error, whatever bytes `file` holds. Returns kExitFailed.
int complain(std::string_view program, std::string_view file, std::string_view why);

// What a command line that cannot be read gets: the usage on standard error and kExitUsage, or, when it asks for
// nothing but help, on standard output and 0.
int usage(int argc, char** argv, std::string_view text);

}  // namespace settings
