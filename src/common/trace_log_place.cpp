#include "common/trace_log_place.h"

#include <cstdio>
#include <string>

#include "common/settings_files.h"
#include "common/settings_tools.h"
#include "common/trace_statement.h"

namespace harbex::system {

void set_log_file_wrapper() {
    std::string install_path;
    if (getcfg_wrapper(kInstallPath, install_path) != 0) return;

    char path[sizeof(__log_file__)] = "";
    const int length = std::snprintf(path, sizeof(path), "%s%s", install_path.c_str(), "/var/log/Harbex.log");
    if (length >= int{sizeof(path)}) {
        HARBEXLOG(HARBEXLOG_ERROR, "Log path too long, falling back to default");
        return;
    }
    if (length > 0) {
        if (place_trace_log(path)) return;
        std::fprintf(stderr, "Error: Log file path too long: %s\n", path);
    }
    HARBEXLOG(HARBEXLOG_ERROR, "Invalid log path, falling back to default");
    place_trace_log_by_default();
}

}  // namespace harbex::system
