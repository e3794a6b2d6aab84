#include "corvane/device/settings.h"

#include "common/config_store.h"
#include "common/error_code.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

// The misspelt "organizaiton", its use for the region's name, and the region's message for either half of a region
// are kept: people search the logs for them.
constexpr char kNoName[] = "Failed to get corvane organizaiton name";
constexpr char kRegionNotSet[] = "Failed to set region id";

constexpr char kDefaultDeveloperSite[] = "production";

}  // namespace

int read_setting(const Setting& setting, std::string& value, const char* failure, const CallSite& site) try {
    const int result = system::getcfg_wrapper(setting.file, setting.section, setting.key, setting.fallback, value);
    return result == NO_ERROR ? NO_ERROR : fail(ERR_CMD_FAILED, failure, site);
} catch (...) {
    value.clear();
    return fail(ERR_CMD_FAILED, failure, site);  // no memory
}

int write_setting(const Setting& setting, const std::string& value, const char* failure, const CallSite& site) try {
    const int result = system::setcfg_wrapper(setting.file, setting.section, setting.key, value);
    return result == NO_ERROR ? NO_ERROR : fail(ERR_CMD_FAILED, failure, site);
} catch (...) {
    return fail(ERR_CMD_FAILED, failure, site);  // no memory
}

int get_install_path(std::string& path) {
    return read_setting(kInstallPath, path, "Failed to get install path");
}

int get_zdevelop_site(std::string& site) try {
    std::string directory;
    const int result = read_setting(kDeveloperPackage, directory, "Failed to get bpkgDir");
    if (result != NO_ERROR) return result;
    if (directory.empty()) {
        site = kDefaultDeveloperSite;
        return NO_ERROR;
    }
    const std::string file = directory + "/data/user.conf";
    return read_setting({file.c_str(), "SITE", "ENV", ""}, site, "Failed to get site");
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int get_corvane_site(std::string& site) {
    return read_setting(kCorvaneSite, site, "Failed to get corvane_site");
}

int get_org_name(std::string& name) {
    (void)read_setting(kOrgName, name, kNoName);  // a name is for show: callers go on without one
    return NO_ERROR;
}

int get_region_name(std::string& name) {
    (void)read_setting(kRegionName, name, kNoName);  // likewise
    return NO_ERROR;
}

int get_virtual_ip(std::string& ip) {
    return read_setting(kVirtualIp, ip, "Failed to get virtual ip");
}

int get_org_id(std::string& id) {
    return read_setting(kOrgId, id, "Failed to get org id");
}

int get_region_id(std::string& id) {
    return read_setting(kRegionId, id, "Failed to get region ID");
}

int get_global_or_china(std::string& region) {
    return read_setting(kBidRegion, region);
}

int get_join_corvane_info(const std::string& key, std::string& value) {
    // Names the region for every key; kept for those who search the logs.
    return read_setting(join_setting(key.c_str()), value, "Failed to run get_corvane_region_id command");
}

int set_org_id(const std::string& id, const std::string& name) {
    const int result = write_setting(kOrgId, id, "Failed to set org id");
    return result != NO_ERROR ? result : write_setting(kOrgName, name, "Failed to set org display name");
}

int set_region_id(const std::string& id, const std::string& name) {
    const int result = write_setting(kRegionId, id, kRegionNotSet);
    return result != NO_ERROR ? result : write_setting(kRegionName, name, kRegionNotSet);
}

int set_serial_number(const std::string& serial) {
    return write_setting(kSerialNumber, serial);
}

int set_virtual_ip(const std::string& ip) {
    return write_setting(kVirtualIp, ip);
}

}  // namespace harbex::corvane
