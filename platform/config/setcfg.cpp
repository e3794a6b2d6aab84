// Changes one setting of a sectioned settings file, creating file, section and key as needed.
#include <exception>
#include <string>

#include "command_line.h"
#include "settings_file.h"

int main(int argc, char** argv) {
    settings::Arguments arguments;
    if (!settings::parse_arguments(argc, argv, 3, "f", arguments)) {
        return settings::usage(argc, argv, "setcfg SECTION KEY VALUE -f FILE");
    }
    try {
        const std::string why = settings::write_setting(arguments.file, arguments.positional[0],
                                                        arguments.positional[1], arguments.positional[2]);
        return why.empty() ? 0 : settings::complain("setcfg", arguments.file, why);
    } catch (const std::exception&) {
        return settings::complain("setcfg", arguments.file, "not enough memory");
    }
}
