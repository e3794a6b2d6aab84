#include "corvane/device/identity.h"

#include <fstream>

#include "common/error_code.h"
#include "common/trace_log.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

// False also for what can be opened but not read, a directory for one.
bool open_text(const std::string& path, std::ifstream& file) {
    file.open(path);
    file.peek();
    const bool readable = file.is_open() && !file.bad();
    file.clear();  // an empty file has met its end already
    return readable;
}

bool read_first_line(const char* path, std::string& line) {
    std::ifstream file;
    if (!open_text(path, file)) return false;
    std::string first;
    std::getline(file, first);
    line = first;
    return true;
}

// The text behind the first "=" of the line without its first and last character: quotes by custom, dropped unseen.
std::string unquoted_value(const std::string& line) {
    const size_t start = line.find('=') + 1;
    const size_t length = line.size() - start;
    return length < 2 ? std::string() : line.substr(start + 1, length - 2);
}

// NO_ERROR or ERR_CMD_FAILED.
int read_agent_value(const char* key, std::string& value) {
    std::string path;
    if (get_install_path(path) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get install path\n");
        return ERR_CMD_FAILED;
    }
    path += system::kAgentConfiguration;
    std::ifstream file;
    if (!open_text(path, file)) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to open file %s\n", path.c_str());
        return ERR_CMD_FAILED;
    }
    const std::string mark = std::string(key) + "=";
    for (std::string line; std::getline(file, line);) {
        if (line.find(mark) == std::string::npos) continue;
        value = unquoted_value(line);
        return NO_ERROR;
    }
    return ERR_CMD_FAILED;
}

}  // namespace

int get_nas_model_name(std::string& name) try {
    if (read_setting(kModelName, name) == NO_ERROR && !name.empty()) return NO_ERROR;
    std::ifstream file;
    if (!open_text(kPlatformConf, file)) return ERR_CMD_FAILED;
    for (std::string line; std::getline(file, line);) {
        const size_t platform = line.find("Platform");
        if (platform == std::string::npos || line.find("X86_KVM", platform) == std::string::npos) continue;
        name = "Cirrane";
        return NO_ERROR;
    }
    return ERR_CMD_FAILED;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int get_host_name(std::string& name) try {
    return read_first_line("/etc/hostname", name) ? NO_ERROR : ERR_CMD_FAILED;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int get_contact(std::string& contact) {
    return read_setting(kBidDisplayName, contact, "Failed to run getcfg_wrapper command");
}

int get_device_token(std::string& token) try {
    std::string value;
    const int result = read_agent_value(kAgentTokenKey, value);
    if (result != NO_ERROR) return result;
    HARBEXLOG(HARBEXLOG_INFO, "device_token: %s\n", value.c_str());
    token = value;
    return NO_ERROR;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

std::string get_device_id() try {
    std::string id;
    if (read_agent_value(kAgentIdKey, id) != NO_ERROR) return {};
    HARBEXLOG(HARBEXLOG_INFO, "device_id: %s\n", id.c_str());
    return id;
} catch (...) {
    return short_of_memory(std::string());
}

std::string get_timezone() try {
    std::string line;
    (void)read_first_line("/etc/config/TZ", line);
    return line;
} catch (...) {
    return short_of_memory(std::string());
}

}  // namespace harbex::corvane
