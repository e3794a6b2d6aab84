#include "common/settings_tools.h"

#include <algorithm>

#include "common/error_code.h"
#include "common/program_output.h"

namespace harbex::system {

int getcfg_wrapper(std::string file, std::string section, std::string key, std::string default_value,
                   std::string& value) {
    try {
        if (do_exec_safe({"/sbin/getcfg", section, key, "-f", file, "-d", default_value}, value) != 0 &&
            default_value.empty()) {
            return ERR_CMD_FAILED;
        }
        std::erase(value, '\n');
        if (value.empty()) value = default_value;
        return NO_ERROR;
    } catch (...) {  // no memory
        value.clear();
        return ERR_CMD_FAILED;
    }
}

int getcfg_wrapper(const Setting& setting, std::string& value) try {
    return getcfg_wrapper(setting.file, setting.section, setting.key, setting.fallback, value);
} catch (...) {  // no memory
    value.clear();
    return ERR_CMD_FAILED;
}

int setcfg_wrapper(std::string file, std::string section, std::string key, std::string value) {
    try {
        std::string output;
        const int result = do_exec_safe({"/sbin/setcfg", section, key, value, "-f", file}, output);
        return result == 0 ? NO_ERROR : ERR_CMD_FAILED;
    } catch (...) {  // no memory
        return ERR_CMD_FAILED;
    }
}

}  // namespace harbex::system
