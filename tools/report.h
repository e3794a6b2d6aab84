// What a run of harbexctl shows: text for people, or one JSON document, whatever the ending.
#pragma once

#include <string>

#include "command.h"
#include "common/json.h"

namespace harbex::tools {

// What ends before a command runs: help, version, misuse.
Ending show_text(bool is_json, const std::string& command, const std::string& text);
Ending show_misuse(bool is_json, const std::string& complaint);

// Shows what `command` came to. For people a success shows the call's text or document, or "done"; a failure goes to
// standard error, behind what there is of a document. The ending to leave the program with: that of `outcome`, or
// kFailed when standard output takes no more.
Ending show(const std::string& command, const Outcome& outcome, Call& call);

// One line on standard error.
void complain(const std::string& line);

}  // namespace harbex::tools
