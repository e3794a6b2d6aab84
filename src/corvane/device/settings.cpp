#include "corvane/device/settings.h"

#include "common/config_store.h"
#include "common/error_code.h"

namespace harbex::corvane {
namespace {

// A row of the enrolment state.
constexpr Setting enrolment(const char* key, const char* default_value, const char* read_failure,
                            const char* write_failure) {
    return {kCorvaneConf, kJoinCorvaneSection, key, default_value, read_failure, write_failure};
}

// The misspelt "organizaiton", its use for the region's name, and the region's message for either half of a region
// are kept: people search the logs for them.
constexpr char kNoName[] = "Failed to get corvane organizaiton name";
constexpr char kRegionNotSet[] = "Failed to set region id";

constexpr Setting kInstallPath{kPackagesConf, kHarbexSection, kInstallPathKey, "", "Failed to get install path",
                               nullptr};
constexpr Setting kDeveloperPackage{kPackagesConf, "ZDevelop", kInstallPathKey, "", "Failed to get bpkgDir", nullptr};
constexpr Setting kCorvaneSite = enrolment("corvane_site", "Production", "Failed to get corvane_site", nullptr);
constexpr Setting kOrgName = enrolment("CORVANE_ORG_NAME", "", kNoName, "Failed to set org display name");
constexpr Setting kRegionName = enrolment("CORVANE_REGION_NAME", "", kNoName, kRegionNotSet);
constexpr Setting kVirtualIp = enrolment("virtual_ip", "", "Failed to get virtual ip", nullptr);
constexpr Setting kOrgId = enrolment("CORVANE_ORG_ID", "", "Failed to get org id", "Failed to set org id");
constexpr Setting kRegionId = enrolment("CORVANE_REGION_ID", "", "Failed to get region ID", kRegionNotSet);
constexpr Setting kSerialNumber = enrolment("corvane_serial_num", "", nullptr, nullptr);
constexpr Setting kRegion{kBidConf, kBrindleIdSection, "REGION", "GLB", nullptr, nullptr};

constexpr char kDefaultDeveloperSite[] = "production";

int write_pair(const Setting& id_setting, const std::string& id, const Setting& name_setting, const std::string& name,
               const CallSite& site = CallSite::here()) {
    const int result = write_setting(id_setting, id, site);
    return result != NO_ERROR ? result : write_setting(name_setting, name, site);
}

int failed(const char* words, const CallSite& site) {
    if (words != nullptr) log_at(site, HARBEXLOG_ERROR, words);
    return ERR_CMD_FAILED;
}

}  // namespace

int read_setting(const Setting& setting, std::string& value, const CallSite& site) {
    const int result =
        system::getcfg_wrapper(setting.file, setting.section, setting.key, setting.default_value, value);
    return result == NO_ERROR ? NO_ERROR : failed(setting.read_failure, site);
}

int write_setting(const Setting& setting, const std::string& value, const CallSite& site) {
    const int result = system::setcfg_wrapper(setting.file, setting.section, setting.key, value);
    return result == NO_ERROR ? NO_ERROR : failed(setting.write_failure, site);
}

int get_install_path(std::string& path) {
    return read_setting(kInstallPath, path);
}

int get_zdevelop_site(std::string& site) {
    std::string directory;
    const int result = read_setting(kDeveloperPackage, directory);
    if (result != NO_ERROR) return result;
    if (directory.empty()) {
        site = kDefaultDeveloperSite;
        return NO_ERROR;
    }
    const std::string file = directory + "/data/user.conf";
    return read_setting({file.c_str(), "SITE", "ENV", "", "Failed to get site", nullptr}, site);
}

int get_corvane_site(std::string& site) {
    return read_setting(kCorvaneSite, site);
}

int get_org_name(std::string& name) {
    (void)read_setting(kOrgName, name);  // a name is for show: callers go on without one
    return NO_ERROR;
}

int get_region_name(std::string& name) {
    (void)read_setting(kRegionName, name);  // likewise
    return NO_ERROR;
}

int get_virtual_ip(std::string& ip) {
    return read_setting(kVirtualIp, ip);
}

int get_org_id(std::string& id) {
    return read_setting(kOrgId, id);
}

int get_region_id(std::string& id) {
    return read_setting(kRegionId, id);
}

int get_global_or_china(std::string& region) {
    return read_setting(kRegion, region);
}

int get_join_corvane_info(const std::string& key, std::string& value) {
    // Names the region for every key; kept for those who search the logs.
    constexpr const char* kFailure = "Failed to run get_corvane_region_id command";
    return read_setting({kCorvaneConf, kJoinCorvaneSection, key.c_str(), "", kFailure, nullptr}, value);
}

int set_org_id(const std::string& id, const std::string& name) {
    return write_pair(kOrgId, id, kOrgName, name);
}

int set_region_id(const std::string& id, const std::string& name) {
    return write_pair(kRegionId, id, kRegionName, name);
}

int set_serial_number(const std::string& serial) {
    return write_setting(kSerialNumber, serial);
}

int set_virtual_ip(const std::string& ip) {
    return write_setting(kVirtualIp, ip);
}

}  // namespace harbex::corvane
