// The commands of harbexctl, a table over the library.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "common/json.h"

namespace harbex::tools {

// Where a command's result codes come from: the library alone, or the transfer library for those that the command has
// no words of its own for.
enum class Codes { kLibrary, kTransfer };

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
    // Returns one of the library's codes; fills `data` with what is to be shown. `arguments` has as many texts as
    // there are names, "" for what was left out.
    int (*run)(const std::vector<std::string>& arguments, JsonValue& data);
    Codes codes = Codes::kLibrary;
};

std::span<const Group> groups();
std::span<const Command> commands();

}  // namespace harbex::tools
