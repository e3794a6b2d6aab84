// What a command of harbexctl shows: words and a document for people, or one JSON document.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::tools {

enum class Output { kPeople, kJson };

// The words for one of the library's result codes.
const char* result_words(int code);

// Shows the outcome of a command: `code` and its words, and `data` (a null value: nothing to show). For people a
// success with data shows the data alone, a failure goes to standard error.
void show(Output output, const std::string& command, int code, JsonValue& data);

}  // namespace harbex::tools
