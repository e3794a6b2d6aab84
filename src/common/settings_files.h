// The settings files of the application and of the NAS, the sections shared by several readers, and the place of each
// setting that this folder reads itself. (Those of the SD-WAN library are corvane/device/setting_keys.) The library's
// own.
#pragma once

namespace harbex::system {

inline constexpr const char kCorvaneConf[] = "/etc/config/harbex/corvane.conf";
inline constexpr const char kJoinCorvaneSection[] = "Join Corvane";
inline constexpr const char kDebugSection[] = "Debug";

inline constexpr const char kBidConf[] = "/etc/config/harbex/bid.conf";
inline constexpr const char kBrindleIdSection[] = "Brindle ID Service";

inline constexpr const char kPackagesConf[] = "/etc/config/bpkg.conf";
inline constexpr const char kInstallPathKey[] = "Install_Path";

// Below the install path: what the cloud agent was given when the NAS joined.
inline constexpr const char kAgentConfiguration[] = "/etc/cloudagent/cloudagent.cfg";

// Where a setting stands.
struct Setting {
    const char* file;
    const char* section;
    const char* key;
    const char* fallback;  // what a reader gets when nothing is stored; not empty: reading cannot fail
};

inline constexpr Setting kInstallPath{kPackagesConf, "Harbex", kInstallPathKey, ""};
inline constexpr Setting kInsecureCurl{kCorvaneConf, kDebugSection, "InsecureCurl", "false"};
inline constexpr Setting kTestMode{kCorvaneConf, kDebugSection, "Enable", "false"};

// Of the NAS itself, as delivered and as its owner set them.
inline constexpr const char kFactoryConf[] = "/etc/default_config/kernos.conf";
inline constexpr const char kOwnerConf[] = "/etc/config/kernos.conf";
inline constexpr const char kSystemSection[] = "System";
inline constexpr Setting kModel{kFactoryConf, kSystemSection, "Model", ""};
inline constexpr Setting kServerName{kOwnerConf, kSystemSection, "Server Name", ""};
inline constexpr Setting kFirmwareVersion{kFactoryConf, kSystemSection, "Version", ""};
inline constexpr Setting kServerRegion{kOwnerConf, kSystemSection, "Region", ""};

}  // namespace harbex::system
