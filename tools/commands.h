// The commands of harbexctl, a table over the library.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "common/json.h"

namespace harbex::tools {

// Whose result code it is: the library passes on a transfer's own code in places, and the numbers overlap.
enum class CodeOf { kLibrary, kTransfer };

struct Outcome {
    int code;
    CodeOf whose;

    Outcome(int code_, CodeOf whose_ = CodeOf::kLibrary) : code(code_), whose(whose_) {}
};

// The first word of commands of two.
struct Group {
    const char* name;
    const char* description;
};

struct Command {
    const char* group;  // "" for a command of one word
    const char* name;
    const char* description;
    std::vector<const char*> arguments;  // names; one in brackets may be left out
    // Fills `data` with what is to be shown. `arguments` has as many texts as there are names, "" for what was left
    // out.
    Outcome (*run)(const std::vector<std::string>& arguments, JsonValue& data);
};

std::span<const Group> groups();
std::span<const Command> commands();

}  // namespace harbex::tools
