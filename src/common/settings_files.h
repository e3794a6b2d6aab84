// The settings files of the application and of the NAS, and the sections shared by several readers.
#pragma once

namespace harbex {

inline constexpr const char kCorvaneConf[] = "/etc/config/harbex/corvane.conf";
inline constexpr const char kJoinCorvaneSection[] = "Join Corvane";
inline constexpr const char kDebugSection[] = "Debug";

inline constexpr const char kBidConf[] = "/etc/config/harbex/bid.conf";
inline constexpr const char kBrindleIdSection[] = "Brindle ID Service";

inline constexpr const char kPackagesConf[] = "/etc/config/bpkg.conf";
inline constexpr const char kHarbexSection[] = "Harbex";
inline constexpr const char kInstallPathKey[] = "Install_Path";

// Below the install path: what the cloud agent was given when the NAS joined.
inline constexpr const char kAgentConfiguration[] = "/etc/cloudagent/cloudagent.cfg";

}  // namespace harbex
