// The enrolment state and the few settings of other owners that the SD-WAN library uses. Every read and write runs a
// tool of the NAS. Published, but for read_setting and write_setting, which are the library's own.
#pragma once

#include <string>

#include "corvane/device/credentials.h"
#include "corvane/device/failure.h"
#include "corvane/device/setting_keys.h"

namespace harbex::corvane {

// NO_ERROR with the stored text or the fallback in `value`; ERR_CMD_FAILED with `value` empty when the tool fails and
// there is no fallback. `failure` is then logged at ERROR as the caller's statement; null logs nothing.
[[nodiscard]] int read_setting(const Setting& setting, std::string& value, const char* failure = nullptr,
                               const CallSite& site = CallSite::here());
// NO_ERROR, or ERR_CMD_FAILED, with `failure` logged likewise.
[[nodiscard]] int write_setting(const Setting& setting, const std::string& value, const char* failure = nullptr,
                                const CallSite& site = CallSite::here());

// A reader returns what read_setting returns, with one ERROR line, unless it says otherwise.

// The application's installation directory.
[[nodiscard]] int get_install_path(std::string& path);
// The developer package's site; "production" when it is not installed.
[[nodiscard]] int get_zdevelop_site(std::string& site);
// The site this NAS enrols at; "Production" when none is stored.
[[nodiscard]] int get_corvane_site(std::string& site);
// The organisation's name. Always NO_ERROR; a failure is logged and leaves the text empty.
int get_org_name(std::string& name);
// The region's name. Always NO_ERROR, as get_org_name.
int get_region_name(std::string& name);
// The SD-WAN address of this NAS, a dotted quad.
[[nodiscard]] int get_virtual_ip(std::string& ip);
// The organisation this NAS belongs to, or is to join.
[[nodiscard]] int get_org_id(std::string& id);
// The region: a group's id, "supn" for the super nodes, "auto" for one still to be chosen.
[[nodiscard]] int get_region_id(std::string& id);
// The account's region: "GLB", also when none is stored, or one of China's. Logs nothing.
[[nodiscard]] int get_global_or_china(std::string& region);
// Any key of the section "Join Corvane".
[[nodiscard]] int get_join_corvane_info(const std::string& key, std::string& value);

// A writer returns what write_setting returns.

// Stores the organisation, its id first; when that fails the name is not written. Each failure is logged.
[[nodiscard]] int set_org_id(const std::string& id, const std::string& name);
// Stores the region likewise.
[[nodiscard]] int set_region_id(const std::string& id, const std::string& name);
// The device's serial number at the cloud, in decimal. Logs nothing: each caller has its own words.
[[nodiscard]] int set_serial_number(const std::string& serial);
// The SD-WAN address of this NAS. Logs nothing, likewise.
[[nodiscard]] int set_virtual_ip(const std::string& ip);

}  // namespace harbex::corvane
