#include "corvane/device/agent_configuration.h"

#include <fcntl.h>
#include <jansson.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "common/error_code.h"
#include "common/file_descriptor.h"
#include "common/json_owner.h"
#include "common/output_file.h"
#include "common/settings_files.h"
#include "common/trace_log.h"
#include "corvane/device/development_cluster.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr const char* kPersistentConfiguration = "/etc/config/harbex/cloudagent.cfg";
// For a disk that is full, too.
constexpr const char* kNotWritten = "Failed to open /etc/config/harbex/cloudagent.cfg for writing";
constexpr const char* kDevelopmentClusterSite = "sy";

int read_configuration(const std::string& response, std::string& configuration) {
    const JsonOwner root = load_json(response);
    if (!take_text(json_object_get(root.get(), "cloudagentCfg"), configuration))
        return fail(ERR_WRONG_JSON_FORMAT, "Failed to parse JSON response");
    HARBEXLOG(HARBEXLOG_INFO, "cloudagentCfg %s\n", configuration.c_str());
    return NO_ERROR;
}

int write_persistent_configuration(const std::string& configuration) {
    // It holds the device's token. One that is there keeps its mode.
    system::OutputFile file(kPersistentConfiguration, O_TRUNC, 0600);
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

int write_corvane_api_devices_cloudagent_cfg(const std::string& response) try {
    HARBEXLOG(HARBEXLOG_INFO, "readBuffer_cloudagent_cfg %s\n", response.c_str());
    std::string configuration;
    if (const int result = read_configuration(response, configuration); result != NO_ERROR) return result;
    std::string link;
    if (get_install_path(link) != NO_ERROR) return ERR_CMD_FAILED;
    link += system::kAgentConfiguration;
    HARBEXLOG(HARBEXLOG_INFO, "cloudagent_cfg_path: %s\n", link.c_str());
    if (const int result = write_persistent_configuration(configuration); result != NO_ERROR) return result;
    return link_configuration(link);
} catch (...) {
    return short_of_memory();
}

int set_site_use_by_cloudagent() try {
    std::string path;
    if (get_install_path(path) != NO_ERROR) return ERR_CMD_FAILED;
    std::string site;
    if (get_corvane_site(site) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get corvane site");
    if (site == kDevelopmentClusterSite) site = "dev";
    if (replace_file(path + "/etc/system/system_setting.json", "{\"site\": \"" + site + "\"}")) return NO_ERROR;
    return fail(ERR_SAVE_FILE, "Failed to save install_path/etc/system/system_setting.json");
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
