// The files the cloud agent reads. Published through corvane/device/agent.h. Both functions return ERR_NO_MEMORY,
// too.
#pragma once

#include <string>

namespace harbex::corvane {

// Writes the configuration text of the cloud's `response` where the agent looks for it: the persistent file first,
// then the link in the install path that leads to it (a file, link or empty directory there is removed). NO_ERROR;
// ERR_WRONG_JSON_FORMAT for a response without "cloudagentCfg"; ERR_CMD_FAILED when install path or site cannot be
// read; ERR_SAVE_FILE when file or link cannot be made. Steps before the failed one stay done.
[[nodiscard]] int write_corvane_api_devices_cloudagent_cfg(const std::string& response);

// Tells the cloud agent, through a file of its own, which site the NAS uses. NO_ERROR, ERR_CMD_FAILED when install
// path or site cannot be read, ERR_SAVE_FILE.
[[nodiscard]] int set_site_use_by_cloudagent();

}  // namespace harbex::corvane
