// The edge log-in at the SD-WAN cloud, and the cloud account token that the daemon keeps.
#pragma once

#include <string>

namespace harbex::corvane {

// Presents this NAS to the cloud as an edge device; appends the answer to `response`. Blocks for up to 10 s of
// transfer, and 70 s more when the contact's e-mail has to be fetched first. NO_ERROR; ERR_CMD_FAILED, before the
// request, when one of the NAS's own facts is missing; ERR_CORVANEAPI_EDGE when the request fails, `response` then
// holds what came.
[[nodiscard]] int corvane_api_edge(const std::string& token, std::string& response);

// The cloud account token. Blocks for up to 60 s. NO_ERROR; ERR_CMD_FAILED when the daemon cannot be asked or
// refuses; ERR_WRONG_JSON_FORMAT for an unusable answer. `token` is untouched on failure.
[[nodiscard]] int get_cloudtoken(std::string& token);

// Hands the cloud's encoded sign-in answer to the daemon. Blocks for up to 60 s. NO_ERROR when the call arrived,
// whatever the daemon made of it; ERR_CMD_FAILED otherwise.
[[nodiscard]] int save_vellum_token(const std::string& encoded);

}  // namespace harbex::corvane
