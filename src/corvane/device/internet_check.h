// Whether the NAS reaches the internet, asked of its network manager. Published through corvane/device/edge_daemon.h.
#pragma once

#include <string>

namespace harbex::corvane {

// Whether the internet is reached through `ifname`, asked again each second for as long as the check is running, ten
// times at most: blocks for about 10 s and ten calls; never call it on a thread that serves the bus. NO_ERROR
// reachable, ERR_BS_API_RET_ERROR not reachable or still running at the end, ERR_WRONG_JSON_FORMAT, ERR_BS_IO_FAILED
// no stream or no reply, ERR_CMD_FAILED.
[[nodiscard]] int bsh_check_access_internet(const std::string& ifname);

}  // namespace harbex::corvane
