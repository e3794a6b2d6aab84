// Small probes of the NAS; those that run a tool block until it ends. Published through corvane/device/agent.h.
#pragma once

#include <string>

namespace harbex::corvane {

// Whether the running kernel has the module file `name` (a path below its modules' directory). NO_ERROR, or
// ERR_CMD_FAILED with `exists` false.
[[nodiscard]] int kernel_module_exists(const std::string& name, bool& exists);

// The hardware serial number, blanks and line ends behind it cut. NO_ERROR, the runner's non-zero result or
// ERR_NO_MEMORY; `serial` is empty on failure.
[[nodiscard]] int get_hwsn(std::string& serial);
// The address the cloud sees this NAS under. Result and failure as with get_hwsn.
[[nodiscard]] int get_real_wan_ip(std::string& ip);

}  // namespace harbex::corvane
