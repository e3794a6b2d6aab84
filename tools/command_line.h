// The command line, understood.
#pragma once

#include <optional>
#include <string>

#include "command.h"

namespace harbex::tools {

struct CommandLine {
    const Command* command = nullptr;  // null when there is nothing to run
    Call call;
    std::string help;       // to be shown instead: help or version
    std::string complaint;  // what is wrong with it
    bool is_json = false;
};

// Fills `line`, which is as it was made.
void parse_command_line(int argc, const char* const* argv, CommandLine& line);

std::string version_text();

}  // namespace harbex::tools
