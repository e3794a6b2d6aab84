// Prints one setting of a sectioned settings file, or a default when file, section or key is missing.
#include <unistd.h>

#include <exception>
#include <string>

#include "base/write_all.h"
#include "command_line.h"
#include "settings_file.h"
#include "settings_text.h"

int main(int argc, char** argv) {
    settings::Arguments arguments;
    if (!settings::parse_arguments(argc, argv, 2, "fd", arguments)) {
        return settings::usage(argc, argv, "getcfg SECTION KEY -f FILE [-d DEFAULT]");
    }
    try {
        std::string text;
        if (const char* why = settings::read_file(arguments.file, text)) {
            return settings::complain("getcfg", arguments.file, why);
        }
        const auto value = settings::find(text, arguments.positional[0], arguments.positional[1]);
        if (!nas::write_all(STDOUT_FILENO, value.value_or(arguments.fallback) + "\n")) {
            return settings::complain("getcfg", arguments.file, "the value cannot be printed");
        }
        return 0;
    } catch (const std::exception&) {
        return settings::complain("getcfg", arguments.file, "not enough memory");
    }
}
