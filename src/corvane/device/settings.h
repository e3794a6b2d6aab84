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

// The readers below return what read_setting returns, unless said otherwise.
[[nodiscard]] int get_install_path(std::string& path);
// "production" when the developer package is not installed.
[[nodiscard]] int get_zdevelop_site(std::string& site);
// "Production" when none is stored.
[[nodiscard]] int get_corvane_site(std::string& site);
// These two always return NO_ERROR; a failure is logged and leaves the text empty.
int get_org_name(std::string& name);
int get_region_name(std::string& name);
[[nodiscard]] int get_virtual_ip(std::string& ip);
[[nodiscard]] int get_org_id(std::string& id);
[[nodiscard]] int get_region_id(std::string& id);
// "GLB" when none is stored.
[[nodiscard]] int get_global_or_china(std::string& region);
// Any key of the section "Join Corvane".
[[nodiscard]] int get_join_corvane_info(const std::string& key, std::string& value);

// The writers return what write_setting returns. The identifier is written first; when that fails the name is not.
[[nodiscard]] int set_org_id(const std::string& id, const std::string& name);
[[nodiscard]] int set_region_id(const std::string& id, const std::string& name);
[[nodiscard]] int set_serial_number(const std::string& serial);
[[nodiscard]] int set_virtual_ip(const std::string& ip);

}  // namespace harbex::corvane
