// What a command of harbexctl shows: words and a document for people, or one JSON document.
#pragma once

#include <string>

#include "commands.h"
#include "common/json.h"

namespace harbex::tools {

enum class Output { kPeople, kJson };

// The words for a command's result code.
const char* result_words(const Outcome& outcome);

// Shows the outcome of a command: its code and words, and `data` (a null value: nothing to show). For people a
// success with data shows the data alone, a failure goes to standard error. False when standard output takes no more.
[[nodiscard]] bool show(Output output, const std::string& command, const Outcome& outcome, JsonValue& data);

}  // namespace harbex::tools
