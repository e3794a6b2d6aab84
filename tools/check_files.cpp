// Scripts, tools, settings, directories and disk space.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "checks.h"
#include "common/error_code.h"
#include "corvane/device/agent.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"
#include "facts.h"

namespace harbex::tools {
namespace {

constexpr uint64_t kLeastFree = uint64_t{8} << 20;
constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;

Finding check_executable(const char* path) {
    if (access(path, X_OK) == 0) return {path, true, "can be run", ""};
    return {path, false, strerror(errno), "install it again; join, leave and the settings need it"};
}

// Settings that hold tokens are for their owner alone.
Finding check_settings(const std::string& path, bool is_needed) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const bool is_missing = errno == ENOENT && !is_needed;
        return {path, is_missing, is_missing ? "not there yet" : strerror(errno), is_missing ? "" : "sign in again"};
    }
    if ((status.st_mode & kForOthers) != 0)
        return {path, false, "others may read the tokens in it", "chmod 600 " + path};
    return {path, true, "for its owner alone", ""};
}

Finding check_directory(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return {path, false, strerror(errno), "mkdir -p " + path};
    if (!S_ISDIR(status.st_mode)) return {path, false, "is no directory", "move it away, then: mkdir -p " + path};
    if ((status.st_mode & S_IWOTH) != 0) return {path, false, "everybody may write there", "chmod o-w " + path};
    return {path, true, "there", ""};
}

Finding check_space(const std::string& path) {
    const std::string name = "space at " + path;
    struct statvfs status {};
    if (statvfs(path.c_str(), &status) != 0) return {name, false, strerror(errno), "mkdir -p " + path};
    const uint64_t free = uint64_t{status.f_bavail} * status.f_frsize;
    const bool is_enough = free >= kLeastFree;
    return {name, is_enough, std::to_string(free >> 20) + " MiB free", is_enough ? "" : "make room there"};
}

Finding check_agent(const std::string& path) {
    const std::string name = "agent configuration";
    if (access(path.c_str(), F_OK) != 0) return {name, true, "none; this NAS has not joined", ""};
    std::string token;
    const bool is_whole = !corvane::get_device_id().empty() && corvane::get_device_token(token) == NO_ERROR;
    if (is_whole) return {name, true, "has device id and token", ""};
    return {name, false, path + " lacks the device's id or token", "harbexctl leave --local, then harbexctl join"};
}

}  // namespace

std::vector<Finding> check_files() {
    std::vector<Finding> found;
    for (const char* tool :
         {"/sbin/getcfg", "/sbin/setcfg", "/sbin/get_hwsn", corvane::kExpressScript, corvane::kAgentScript})
        found.push_back(check_executable(tool));
    std::string path;
    if (corvane::get_install_path(path) != NO_ERROR || path.empty()) {
        found.push_back({"install path", false, "not in the settings", "install the application again"});
        return found;
    }
    found.push_back(check_agent(path + system::kAgentConfiguration));
    found.push_back(check_settings(system::kBidConf, false));
    found.push_back(check_settings(system::kCorvaneConf, true));
    for (const std::string& directory : {path + "/var/log", std::string("/etc/config/harbex"),
                                         std::string("/var/run/bsvc"), std::string("/var/run/network")})
        found.push_back(check_directory(directory));
    for (const std::string& directory : {path + "/var/log", std::string("/etc/config"), std::string("/tmp")})
        found.push_back(check_space(directory));
    return found;
}

}  // namespace harbex::tools
