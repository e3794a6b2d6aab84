#include "command_line.h"

#include <unistd.h>

#include <algorithm>

#include "base/write_all.h"

namespace settings {
namespace {

// Takes the pairs of [first, last); false when one of them is none.
bool take_options(char** first, char** last, std::string_view options, Arguments& arguments) {
    if ((last - first) % 2 != 0) return false;
    for (; first != last; first += 2) {
        const std::string_view name = *first;
        if (name.size() != 2 || name[0] != '-' || options.find(name[1]) == options.npos) return false;
        (name[1] == 'f' ? arguments.file : arguments.fallback) = first[1];
    }
    return true;
}

}  // namespace

bool parse_arguments(int argc, char** argv, int count, std::string_view options, Arguments& arguments) {
    for (int start = 1; start + count <= argc; start += 2) {
        Arguments found;
        found.positional = argv + start;
        if (!take_options(argv + 1, argv + start, options, found)) continue;
        if (!take_options(argv + start + count, argv + argc, options, found)) continue;
        if (found.file == nullptr) continue;
        arguments = found;
        return true;
    }
    return false;
}

int complain(std::string_view program, std::string_view file, std::string_view why) {
    std::string line = std::string(program).append(": ").append(file).append(": ").append(why);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, '?');
    (void)nas::write_all(STDERR_FILENO, line + "\n");  // nobody is left to be told
    return kExitFailed;
}

int usage(int argc, char** argv, std::string_view text) {
    const std::string_view asked = argc == 2 ? argv[1] : "";
    const bool is_help = asked == "-h" || asked == "--help";
    (void)nas::write_all(is_help ? STDOUT_FILENO : STDERR_FILENO,
                         std::string("usage: ").append(text).append("\n"));  // nobody is left to be told
    return is_help ? 0 : kExitUsage;
}

}  // namespace settings
