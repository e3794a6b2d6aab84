// The commands of harbexctl, a table over the library: command line, help, completion and manual are made from it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ask.h"
#include "common/json.h"
#include "outcome.h"

namespace harbex::tools {

struct Group {
    const char* name;
    const char* description;
};

struct Argument {
    const char* name;
    const char* description;
    bool is_optional = false;
};

struct Option {
    const char* name;
    // null: a flag; "S": seconds; "a|b": one of these; else any text.
    const char* value;
    const char* description;
};

// What stands before a call and what it leaves behind.
struct Call {
    std::span<const Option> option_names;
    std::vector<std::string> arguments;  // one for each the command names; "" for one that was left out
    std::vector<std::string> options;    // likewise; a flag that was given holds its own name
    bool is_json = false;
    bool is_verbose = false;
    Deadline begun = deadline_in(0);

    JsonValue data;          // what is shown; null: nothing
    int schema_version = 0;  // of the document; 0: it has none
    std::string text;        // the same for people, whole lines; "" leaves it to the document

    // The text behind `name`, "" without it.
    [[nodiscard]] std::string option(std::string_view name) const;
    [[nodiscard]] bool has(std::string_view name) const { return !option(name).empty(); }
    // As many seconds behind the program's start as --timeout says, or `otherwise_s`.
    [[nodiscard]] Deadline deadline(int otherwise_s) const;
};

// The service without which the command can do nothing, and the code of its failure then.
struct Need {
    const char* service = nullptr;
    int code_without = 0;
};

struct Command {
    const char* group;  // "" for a command of one word
    const char* name;
    const char* description;
    const char* example;
    std::vector<Argument> arguments;
    std::vector<Option> options;
    Need need{};
    Outcome (*run)(Call& call);
    bool is_repeatable = true;  // whether it does no more when a late answer made it run twice
};

std::string full_name(const Command& command);
std::span<const Group> groups();
std::span<const Command> commands();

}  // namespace harbex::tools
