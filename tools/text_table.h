// Text for people: aligned tables, member names as words, and nothing that steers the terminal.
#pragma once

#include <jansson.h>

#include <string>
#include <string_view>
#include <vector>

namespace harbex::tools {

// Lines of aligned columns, two blanks between them, nothing behind the last. Cells are shown without controls.
std::string layout(const std::vector<std::vector<std::string>>& rows);

// A document's tables: an object as names and values, an array of objects as one line each under a head.
std::string document_text(const json_t* document);

// "organization_id" as "Organization id".
std::string label_of(std::string_view member);

// Replaces what would steer the terminal by '?': C0 controls, DEL, C1 controls.
std::string without_controls(std::string text);

// Bold where standard output is a terminal and NO_COLOR is not set; else as it is.
std::string emphasised(const std::string& text);

}  // namespace harbex::tools
