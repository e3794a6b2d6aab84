// The application's VPN script. Its name is published, in common/exec.h.
#pragma once

#include <string>

namespace harbex::system {

// Runs `script` with the argument `action`, blocking; a failure is only logged.
void invoke_vpn_script(const std::string& script, const std::string& action);

}  // namespace harbex::system
