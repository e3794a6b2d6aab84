// What a command reads beside its command line.
#pragma once

#include <string>

namespace harbex::tools {

// All of a file, or of standard input for "-" and "". NO_ERROR, or ERR_REGULAR_FILE with `why` filled. What stands in
// the file's place is not echoed: it may be the sign-in answer itself, typed by mistake.
[[nodiscard]] int read_input(const std::string& path, std::string& text, std::string& why);

}  // namespace harbex::tools
