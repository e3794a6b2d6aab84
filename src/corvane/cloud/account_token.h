// The cloud account token, which the daemon keeps for the whole NAS. Published through corvane/cloud/edge_login.h.
#pragma once

#include <string>

namespace harbex::corvane {

// The cloud account token. Blocks for up to 60 s. NO_ERROR; ERR_CMD_FAILED when the daemon cannot be asked or
// refuses; ERR_WRONG_JSON_FORMAT for an unusable answer; ERR_NO_MEMORY. `token` is untouched on failure.
[[nodiscard]] int get_cloudtoken(std::string& token);

// Hands the cloud's encoded sign-in answer to the daemon. Blocks for up to 60 s. NO_ERROR when the call arrived,
// whatever the daemon made of it; ERR_CMD_FAILED otherwise.
[[nodiscard]] int save_vellum_token(const std::string& encoded);

}  // namespace harbex::corvane
