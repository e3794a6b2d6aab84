// Completion for bash, and the version: what is said of the program itself.
#include <algorithm>

#include "command_line.h"
#include "commands.h"
#include "common/error_code.h"

namespace harbex::tools {
namespace {

std::string case_line(const std::string& pattern, const char* kind, const std::string& words) {
    return "        " + pattern + ") " + kind + "=\"" + words + "\" ;;\n";
}

// What a command takes behind its name: values of its options, and the options.
std::string lines_of(const Command& command) {
    const std::string name = "\"" + full_name(command) + "\"*";
    std::string lines;
    std::string options;
    for (const Option& option : command.options) {
        options += std::string(options.empty() ? "" : " ") + option.name;
        std::string values = option.value == nullptr ? "" : option.value;
        if (values.find('|') == std::string::npos) continue;
        std::replace(values.begin(), values.end(), '|', ' ');
        lines += case_line(name + "\" " + option.name + "\"", "choices", values);
    }
    return options.empty() ? lines : lines + case_line(name, "options", options);
}

std::string cases() {
    std::string first;
    std::string lines;
    for (const Group& group : groups()) {
        std::string names;
        for (const Command& command : commands())
            names += group.name == std::string(command.group) ? std::string(" ") + command.name : "";
        first += std::string(" ") + group.name;
        lines += case_line(std::string("\"") + group.name + "\"", "choices", names.substr(1));
    }
    for (const Command& command : commands()) {
        if (*command.group == '\0') first += std::string(" ") + command.name;
        lines += lines_of(command);
    }
    return case_line("\"\"", "choices", first.substr(1)) + lines;
}

}  // namespace

// Source it: a word that begins with "-" is completed with options; files complete where nothing else does.
Outcome completion(Call& call) {
    call.text =
        "# bash completion for harbexctl\n"
        "_harbexctl() {\n"
        "    local choices= options= word words=\n"
        "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
        "        [[ $word == --json || $word == --verbose ]] || words+=\"${words:+ }$word\"\n"
        "    done\n"
        "    case \"$words\" in\n" +
        cases() +
        "    esac\n"
        "    [[ $2 != -* ]] || choices+=\" $options --json --verbose --help\"\n"
        "    COMPREPLY=($(compgen -W \"$choices\" -- \"$2\"))\n"
        "}\n"
        "complete -o default -F _harbexctl harbexctl\n";
    call.data["text"] = call.text;
    return NO_ERROR;
}

Outcome version(Call& call) {
    call.text = version_text();
    call.data["version"] = HARBEX_VERSION;
    return NO_ERROR;
}

}  // namespace harbex::tools
