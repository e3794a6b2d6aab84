// Where each setting of the SD-WAN edge stands, once for everybody: file, section, key, and what a reader gets when
// nothing is stored. The library's own.
#pragma once

#include "common/settings_files.h"

namespace harbex::corvane {

using system::kBidConf;
using system::kCorvaneConf;
using system::kInstallPath;
using system::kPackagesConf;
using system::Setting;

constexpr Setting join_setting(const char* key, const char* fallback = "") {
    return {kCorvaneConf, system::kJoinCorvaneSection, key, fallback};
}
inline constexpr Setting kOrgId = join_setting("CORVANE_ORG_ID");
inline constexpr Setting kOrgName = join_setting("CORVANE_ORG_NAME");
inline constexpr Setting kSiteId = join_setting("CORVANE_SITE_ID");
inline constexpr Setting kRegionId = join_setting("CORVANE_REGION_ID");
inline constexpr Setting kRegionName = join_setting("CORVANE_REGION_NAME");
inline constexpr Setting kCorvaneSite = join_setting("corvane_site", "Production");
inline constexpr Setting kVirtualIp = join_setting("virtual_ip");
inline constexpr Setting kSerialNumber = join_setting("corvane_serial_num");
inline constexpr Setting kRouterTable = join_setting("router_region_table_id");
inline constexpr Setting kSupernodeTable = join_setting("supernode_region_table_id");
inline constexpr Setting kCorvaneToken = join_setting("CORVANE_TOKEN");
inline constexpr Setting kCorvaneTokenLastSeen = join_setting("CORVANE_TOKEN_LAST_SEEN", "0");

inline constexpr Setting kIsChinaRegion{kCorvaneConf, "IsChinaRegion", "IsChinaRegion", "false"};
inline constexpr Setting kFeatureIntro{kCorvaneConf, "Feature Guide", "feature_intro", "true"};
inline constexpr Setting kFeatureTip{kCorvaneConf, "Feature Guide", "feature_tip", "true"};

constexpr Setting bid_setting(const char* key, const char* fallback = "") {
    return {kBidConf, system::kBrindleIdSection, key, fallback};
}
inline constexpr Setting kBidDisplayName = bid_setting("DISPLAY_NAME");
inline constexpr Setting kBidEmails = bid_setting("EMAILS");
inline constexpr Setting kBidRegion = bid_setting("REGION", "GLB");
inline constexpr Setting kVellumToken = bid_setting("VELLUM_TOKEN");
inline constexpr Setting kVellumRefreshToken = bid_setting("VELLUM_REFRESH_TOKEN");
inline constexpr Setting kBidTokenStatus = bid_setting("bid_token_status");
inline constexpr const char kAlreadyJoined[] = "already_join_corvane";  // the enrolment marker it then holds

inline constexpr Setting kDeveloperPackage{kPackagesConf, "ZDevelop", system::kInstallPathKey, ""};
inline constexpr const char kPlatformConf[] = "/etc/platform.conf";
inline constexpr Setting kModelName{kPlatformConf, "MISC", "DISPLAY_NAME", ""};
inline constexpr Setting kL2tpEnable{"/etc/config/vpn.conf", "L2TP", "Enable", "FALSE"};

// In the cloud agent's configuration, which has no sections.
inline constexpr const char kAgentTokenKey[] = "DEV_TOKEN";
inline constexpr const char kAgentIdKey[] = "DEV_ID";

}  // namespace harbex::corvane
