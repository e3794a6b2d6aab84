#include "common/vpn_script.h"

#include "common/program_output.h"
#include "common/trace_statement.h"

namespace harbex::system {

void invoke_vpn_script(const std::string& script, const std::string& action) {
    HARBEXLOG(HARBEXLOG_INFO, "Invoke VPN script by %s %s\n", script.c_str(), action.c_str());
    std::string output;
    int result = -1;
    try {
        result = do_exec_safe({script, action}, output);
    } catch (...) {  // no memory: logged below like any failure
    }
    if (result != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Fail to %s VPN by %s, output: %s\n", action.c_str(), script.c_str(),
                  output.c_str());
    }
}

}  // namespace harbex::system
