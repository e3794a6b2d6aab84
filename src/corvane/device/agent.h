// The cloud agent's configuration, the init scripts of the SD-WAN edge, and small probes of the NAS. Scripts and
// tools block until they end.
#pragma once

#include <string>

namespace harbex::corvane {

// Writes the configuration text of the cloud's `response` where the agent looks for it: the persistent file first,
// then the link in the install path that leads to it (a file, link or empty directory there is removed). NO_ERROR;
// ERR_WRONG_JSON_FORMAT for a response without "cloudagentCfg"; ERR_CMD_FAILED when install path or site cannot be
// read; ERR_SAVE_FILE when file or link cannot be made. Steps before the failed one stay done.
[[nodiscard]] int write_corvane_api_devices_cloudagent_cfg(const std::string& response);

// Run an init script with one argument. The agent's always sees the current site: its site file is written first.
// NO_ERROR, or the runner's non-zero result.
[[nodiscard]] int invoke_corvane_express(const std::string& arg);
[[nodiscard]] int invoke_cloudagent(const std::string& arg);

// NO_ERROR or ERR_CMD_FAILED.
[[nodiscard]] int remove_corvane_configs();
// Takes the edge down step by step, whatever each step gives. Always NO_ERROR.
int stop_corvane_services();

// Whether the running kernel has the module file `name` (a path below its modules' directory). NO_ERROR, or
// ERR_CMD_FAILED with `exists` false.
[[nodiscard]] int kernel_module_exists(const std::string& name, bool& exists);

// The hardware serial number; the address the cloud sees this NAS under. Blanks and line ends behind them are cut.
// NO_ERROR, or the runner's non-zero result with an empty text.
[[nodiscard]] int get_hwsn(std::string& serial);
[[nodiscard]] int get_real_wan_ip(std::string& ip);

// Tells the cloud agent, through a file of its own, which site the NAS uses. NO_ERROR, ERR_CMD_FAILED when install
// path or site cannot be read, ERR_SAVE_FILE.
[[nodiscard]] int set_site_use_by_cloudagent();

}  // namespace harbex::corvane
