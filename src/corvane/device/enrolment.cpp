#include "corvane/device/enrolment.h"

#include <fstream>

#include "common/error_code.h"
#include "common/settings_files.h"
#include "common/trace_log.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {

int get_bdevice_token(std::string& token) try {
    std::string install_path;
    if (get_install_path(install_path) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get harbex install path");
    const std::string file = install_path + system::kAgentConfiguration;
    std::string value;
    if (read_setting({file.c_str(), "", kAgentTokenKey, ""}, value) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get bdevice_token from %s\n", system::kAgentConfiguration);
        return ERR_CMD_FAILED;
    }
    const size_t first = value.find_first_not_of('"');
    if (first == std::string::npos) return fail(ERR_CMD_FAILED, "bdevice_token is empty");
    token = value.substr(first, value.find_last_not_of('"') - first + 1);
    return NO_ERROR;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int check_device(JsonValue& out) try {
    std::string path;
    const int result = get_install_path(path);
    if (result != NO_ERROR) return result;
    out["is_on_corvane"] = std::ifstream(path + system::kAgentConfiguration).is_open() ? 1 : 0;
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
