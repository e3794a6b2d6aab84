// Completion for bash, and the version: what is said of the program itself.
#include <algorithm>

#include "command_line.h"
#include "commands.h"
#include "common/error_code.h"

namespace harbex::tools {
namespace {

// The words that may follow `words`, with the blank in front that separates them.
std::string choices_of(const Command& command) {
    std::string words;
    for (const Option& option : command.options)
        words += std::string(" ") + option.name;
    return words;
}

std::string case_line(const std::string& words, const std::string& choices) {
    return "        \"" + words + "\") choices=\"" + choices + "\" ;;\n";
}

std::string cases() {
    std::string first;
    std::string lines;
    for (const Group& group : groups()) {
        std::string names;
        for (const Command& command : commands())
            names += group.name == std::string(command.group) ? std::string(" ") + command.name : "";
        first += std::string(" ") + group.name;
        lines += case_line(group.name, names.substr(1));
    }
    for (const Command& command : commands()) {
        if (*command.group == '\0') first += std::string(" ") + command.name;
        const std::string choices = choices_of(command);
        if (!choices.empty()) lines += case_line(full_name(command), choices.substr(1));
        for (const Option& option : command.options) {
            std::string values = option.value == nullptr ? "" : option.value;
            if (values.find('|') == std::string::npos) continue;
            std::replace(values.begin(), values.end(), '|', ' ');
            lines += case_line(full_name(command) + " " + option.name, values);
        }
    }
    return case_line("", first.substr(1)) + lines;
}

}  // namespace

// Source it: a word that begins with "-" is completed with options, too; files complete where nothing else does.
Outcome completion(Call& call) {
    call.text =
        "# bash completion for harbexctl\n"
        "_harbexctl() {\n"
        "    local choices= words=\"${COMP_WORDS[*]:1:COMP_CWORD-1}\"\n"
        "    case \"$words\" in\n" +
        cases() +
        "    esac\n"
        "    [[ $2 != -* ]] || choices+=\" --json --verbose --help\"\n"
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
