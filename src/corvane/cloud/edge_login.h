// The edge log-in at the SD-WAN cloud. Published, with the account token's functions, which this header passes on.
#pragma once

#include <string>

#include "corvane/cloud/account_token.h"

namespace harbex::corvane {

// Presents this NAS to the cloud as an edge device; appends the answer to `response`. Blocks for up to 10 s of
// transfer, and 70 s more when the contact's e-mail has to be fetched first. NO_ERROR; ERR_CMD_FAILED, before the
// request, when one of the NAS's own facts is missing; ERR_CORVANEAPI_EDGE when the request fails, `response` then
// holds what came; ERR_NO_MEMORY.
[[nodiscard]] int corvane_api_edge(const std::string& token, std::string& response);

}  // namespace harbex::corvane
