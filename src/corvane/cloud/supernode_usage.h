// What the edge daemon knows of the super node: usage, devices, traffic. Published. Each call blocks for up to 60 s
// and returns NO_ERROR, ERR_CMD_FAILED when the daemon cannot be asked or answers an error, ERR_WRONG_JSON_FORMAT
// when its answer has another shape, or ERR_NO_MEMORY; the output is untouched on failure. Units are the daemon's.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// Fills the integers "remaining_usage", "total_usage", "expired_date" and "last_billing_date" of `result`.
[[nodiscard]] int bsh_get_supernode_remaining(JsonValue& result);
// Replaces `result` by the daemon's array of devices, held as a jansson leaf.
[[nodiscard]] int bsh_get_supernode_devices(JsonValue& result);
// Replaces `result` by the daemon's array of daily records, held as a jansson leaf.
[[nodiscard]] int bsh_supernode_recent_billing_daily_traffic(JsonValue& result);
// The token that the daemon presents itself with.
[[nodiscard]] int bsh_get_device_token(std::string& token);

}  // namespace harbex::corvane
