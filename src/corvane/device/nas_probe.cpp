#include "corvane/device/nas_probe.h"

#include <sys/stat.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstring>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/trace_log.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

void strip_end(std::string& text) {
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
}

}  // namespace

int kernel_module_exists(const std::string& name, bool& exists) try {
    exists = false;
    if (name.find("..") != std::string::npos) {
        HARBEXLOG(HARBEXLOG_ERROR, "Invalid module name: %s, module name should not contain '..'\n", name.c_str());
        return ERR_CMD_FAILED;
    }
    utsname kernel{};
    if (uname(&kernel) != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get kernel version: %s\n", strerror(errno));
        return ERR_CMD_FAILED;
    }
    struct stat status {};
    exists = stat((std::string("/lib/modules/") + kernel.release + "/" + name).c_str(), &status) == 0;
    return NO_ERROR;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int get_hwsn(std::string& serial) try {
    const int result = system::do_exec_safe({"/sbin/get_hwsn"}, serial);
    strip_end(serial);
    return result == 0 ? NO_ERROR : fail(result, "Failed to get hwsn");
} catch (...) {
    serial.clear();
    return short_of_memory();
}

int get_real_wan_ip(std::string& ip) try {
    const int result = system::do_exec_safe({"/usr/local/bin/vellum_cli", "-x", "13", "-e"}, ip);
    strip_end(ip);
    if (result != 0) HARBEXLOG(HARBEXLOG_ERROR, "ret %d, output: %s\n", result, ip.c_str());
    return result;
} catch (...) {
    ip.clear();
    return short_of_memory();
}

}  // namespace harbex::corvane
