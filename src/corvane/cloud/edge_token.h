// The SD-WAN access token, asked from the daemon, which keeps one for the whole NAS. Published, but for
// invalidate_corvanetoken, which is the library's own.
#pragma once

#include <string>

namespace harbex::corvane {

// The token for the organisation. Blocks for up to 60 s. NO_ERROR; ERR_CMD_FAILED when the daemon cannot be asked,
// refuses or answers no JSON; ERR_WRONG_JSON_FORMAT when its answer holds no text; ERR_NO_MEMORY. `token` is
// untouched on failure.
[[nodiscard]] int get_corvanetoken(const std::string& org_id, std::string& token);

// get_corvanetoken for the organisation in the settings; ERR_CMD_FAILED, too, when there is none.
[[nodiscard]] int get_corvanetoken_wrapper(std::string& token);

// Makes the daemon fetch a new token at the next call, as after a change of organisation. NO_ERROR or ERR_SAVE_FILE.
[[nodiscard]] int invalidate_corvanetoken();

}  // namespace harbex::corvane
