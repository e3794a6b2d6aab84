// Whether this NAS is ready to join an organisation, and where it stands. Published.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// Sets result["ncsi"] (bool: the internet is reached), ["region"] ("CHN", "GLB", "NONE" when unknown), ["bid_exist"]
// (bool: a usable account identity) and ["l2tp_status"] ("enabled", "disabled"). An account identity without a
// completed join is deleted, so that the user signs in again. Never fails: always NO_ERROR. Blocks for up to minutes
// (see bsh_check_access_internet); not for a bus thread.
int join_corvane_precheck(JsonValue& result);

// Where the cloud's address directory places this NAS; the numbers as texts of six significant digits. NO_ERROR, or
// ERR_CMD_FAILED with the position untouched; `real_wan_ip` is filled as soon as the address is known, also when the
// directory then fails.
[[nodiscard]] int get_geo_info(std::string& latitude, std::string& longitude, std::string& country,
                               std::string& real_wan_ip);

}  // namespace harbex::corvane
