// The regions a device of an organisation can join. Published.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// Replaces `result` by the array of the organisation's VPN groups, held as a jansson leaf; a fresh SD-WAN token is
// fetched first, always. Blocks for up to 60 s and 10 s of transfer. NO_ERROR; ERR_SAVE_FILE when the cached token
// cannot be invalidated; ERR_CORVANE_GETCORVANETOKEN; ERR_CORVANEAPI_VPN_GROUPS when the topology cannot be had or is
// no object; ERR_WRONG_JSON_FORMAT for no JSON or another shape; ERR_NO_MEMORY. Untouched on failure.
[[nodiscard]] int get_region_list(JsonValue& result, const std::string& org_id);

}  // namespace harbex::corvane
