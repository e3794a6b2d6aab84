// The init scripts of the SD-WAN edge; each call blocks until its script ends. Published through
// corvane/device/agent.h.
#pragma once

#include <string>

namespace harbex::corvane {

// The edge daemon's and the cloud agent's. The library's own.
inline constexpr const char kExpressScript[] = "/etc/init.d/corvane_express.sh";
inline constexpr const char kAgentScript[] = "/etc/init.d/corvane_cloudagent.sh";

// Runs the edge daemon's script with one argument. NO_ERROR, the runner's non-zero result, or ERR_NO_MEMORY.
[[nodiscard]] int invoke_corvane_express(const std::string& arg);
// Runs the cloud agent's script with one argument. The agent always sees the current site: its site file is written
// first. NO_ERROR, the runner's non-zero result, or ERR_NO_MEMORY.
[[nodiscard]] int invoke_cloudagent(const std::string& arg);

// Has the cloud agent's script remove its configuration. NO_ERROR or ERR_CMD_FAILED.
[[nodiscard]] int remove_corvane_configs();
// Takes the edge down step by step, whatever each step gives. Always NO_ERROR.
int stop_corvane_services();

}  // namespace harbex::corvane
