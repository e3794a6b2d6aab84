// What enrolling left on this NAS: the cloud agent's configuration and its token. Published through
// corvane/device/edge_daemon.h.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// The cloud agent's device token, its quotes stripped. NO_ERROR, or ERR_CMD_FAILED with `token` untouched.
[[nodiscard]] int get_bdevice_token(std::string& token);

// Sets out["is_on_corvane"] to 1 when the cloud agent has its configuration, else to 0. Returns what get_install_path
// returns; when that fails the member is not set. ERR_NO_MEMORY.
[[nodiscard]] int check_device(JsonValue& out);

}  // namespace harbex::corvane
