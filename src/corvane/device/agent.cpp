#include "corvane/device/agent.h"

#include <fcntl.h>
#include <jansson.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/failure.h"
#include "common/file_descriptor.h"
#include "common/json_owner.h"
#include "common/output_file.h"
#include "common/settings_files.h"
#include "common/trace_log.h"
#include "corvane/device/development_cluster.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr const char* kPersistentConfiguration = "/etc/config/harbex/cloudagent.cfg";
// For a disk that is full, too.
constexpr const char* kNotWritten = "Failed to open /etc/config/harbex/cloudagent.cfg for writing";
constexpr const char* kExpressScript = "/etc/init.d/corvane_express.sh";
constexpr const char* kAgentScript = "/etc/init.d/corvane_cloudagent.sh";
constexpr const char* kDevelopmentClusterSite = "sy";

int run(const std::vector<std::string>& argv) {
    std::string output;
    return system::do_exec_safe(argv, output);
}

void strip_end(std::string& text) {
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
}

int read_configuration(const std::string& response, std::string& configuration) {
    const JsonOwner root(json_loadb(response.data(), response.size(), 0, nullptr));
    const json_t* text = json_object_get(root.get(), "cloudagentCfg");
    if (!json_is_string(text)) return fail(ERR_WRONG_JSON_FORMAT, "Failed to parse JSON response");
    configuration.assign(json_string_value(text), json_string_length(text));
    HARBEXLOG(HARBEXLOG_INFO, "cloudagentCfg %s\n", configuration.c_str());
    return NO_ERROR;
}

int write_persistent_configuration(const std::string& configuration) {
    system::OutputFile file(kPersistentConfiguration, O_TRUNC);
    file << configuration << std::flush;
    if (!file) return fail(ERR_SAVE_FILE, kNotWritten);
    std::string site;
    // Says site id though a site's name is meant; kept for those who search the logs.
    if (get_corvane_site(site) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get site id");
    if (site == kDevelopmentClusterSite) {
        file << "MQTT_URL=\"" << kDevelopmentMessageBroker << "\"\nNMS_WEB_URL=\"" << kDevelopmentManagementWeb
             << "\"\n";
    }
    file.close();
    if (!file) return fail(ERR_SAVE_FILE, kNotWritten);
    HARBEXLOG(HARBEXLOG_INFO, "Successfully wrote cloudagent_cfg_response to %s\n", kPersistentConfiguration);
    return NO_ERROR;
}

// The agent reads the file whenever it likes: it finds the old text or the new one, whole.
bool replace_file(const std::string& path, const std::string& text) {
    std::string fresh = path + ".XXXXXX";
    const system::FileDescriptor file(mkostemp(fresh.data(), O_CLOEXEC));
    if (!file.is_open()) return false;
    const bool written = write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                         fchmod(file.get(), 0644) == 0 && fsync(file.get()) == 0;
    if (written && rename(fresh.c_str(), path.c_str()) == 0) return true;
    unlink(fresh.c_str());
    return false;
}

int link_configuration(const std::string& link) {
    struct stat status {};
    // A dangling link exists, too.
    if (lstat(link.c_str(), &status) == 0 && remove(link.c_str()) != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to remove existing symbolic link: %s\n", link.c_str());
        return ERR_SAVE_FILE;
    }
    if (symlink(kPersistentConfiguration, link.c_str()) != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to create symbolic link from %s to %s\n", link.c_str(),
                  kPersistentConfiguration);
        return ERR_SAVE_FILE;
    }
    HARBEXLOG(HARBEXLOG_INFO, "Created symbolic link: %s -> %s\n", link.c_str(), kPersistentConfiguration);
    return NO_ERROR;
}

}  // namespace

int write_corvane_api_devices_cloudagent_cfg(const std::string& response) {
    HARBEXLOG(HARBEXLOG_INFO, "readBuffer_cloudagent_cfg %s\n", response.c_str());
    std::string configuration;
    if (const int result = read_configuration(response, configuration); result != NO_ERROR) return result;
    std::string link;
    if (get_install_path(link) != NO_ERROR) return ERR_CMD_FAILED;
    link += kAgentConfiguration;
    HARBEXLOG(HARBEXLOG_INFO, "cloudagent_cfg_path: %s\n", link.c_str());
    if (const int result = write_persistent_configuration(configuration); result != NO_ERROR) return result;
    return link_configuration(link);
}

int invoke_corvane_express(const std::string& arg) {
    HARBEXLOG(HARBEXLOG_INFO, "invoke_corvane_express: %s\n", arg.c_str());
    const int result = run({kExpressScript, arg});
    if (result != 0) HARBEXLOG(HARBEXLOG_ERROR, "Failed to execute corvane_express.sh %s\n", arg.c_str());
    return result;
}

int invoke_cloudagent(const std::string& arg) {
    (void)set_site_use_by_cloudagent();  // the agent runs with the site it has
    HARBEXLOG(HARBEXLOG_INFO, "invoke_cloudagent: %s\n", arg.c_str());
    const int result = run({kAgentScript, arg});
    if (result != 0) HARBEXLOG(HARBEXLOG_ERROR, "Failed to execute corvane_cloudagent.sh %s\n", arg.c_str());
    return result;
}

int remove_corvane_configs() {
    if (invoke_cloudagent("remove_corvane_configs") == 0) return NO_ERROR;
    return fail(ERR_CMD_FAILED, "Failed to invoke cloudagent remove_corvane_configs");
}

int stop_corvane_services() {
    if (invoke_corvane_express("stop") != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to invoke corvane_express stop, but continue to stop corvane services\n");
    }
    if (invoke_cloudagent("remove_dummy_interface") != 0) {
        HARBEXLOG(HARBEXLOG_ERROR,
                  "Failed to invoke cloudagent remove_dummy_interface, but continue to stop corvane services\n");
    }
    if (invoke_cloudagent("stop") != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to invoke cloudagent stop, but continue to stop corvane services\n");
    }
    return NO_ERROR;
}

int kernel_module_exists(const std::string& name, bool& exists) {
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
}

int get_hwsn(std::string& serial) {
    const int result = system::do_exec_safe({"/sbin/get_hwsn"}, serial);
    strip_end(serial);
    return result == 0 ? NO_ERROR : fail(result, "Failed to get hwsn");
}

int get_real_wan_ip(std::string& ip) {
    const int result = system::do_exec_safe({"/usr/local/bin/vellum_cli", "-x", "13", "-e"}, ip);
    strip_end(ip);
    if (result != 0) HARBEXLOG(HARBEXLOG_ERROR, "ret %d, output: %s\n", result, ip.c_str());
    return result;
}

int set_site_use_by_cloudagent() {
    std::string path;
    if (get_install_path(path) != NO_ERROR) return ERR_CMD_FAILED;
    std::string site;
    if (get_corvane_site(site) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get corvane site");
    if (site == kDevelopmentClusterSite) site = "dev";
    if (replace_file(path + "/etc/system/system_setting.json", "{\"site\": \"" + site + "\"}")) return NO_ERROR;
    return fail(ERR_SAVE_FILE, "Failed to save install_path/etc/system/system_setting.json");
}

}  // namespace harbex::corvane
