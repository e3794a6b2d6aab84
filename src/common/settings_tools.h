// Settings, read and written through the NAS's tools. Nothing here logs. Its names are published, in
// common/config_store.h.
#pragma once

#include <string>

#include "common/settings_files.h"

namespace harbex::system {

// Reads a setting with /sbin/getcfg, blocking for its run. Line breaks are taken out of the value; an empty one
// becomes the default. NO_ERROR; ERR_CMD_FAILED, with an empty `value`, when the tool fails and the default is empty,
// or without memory.
[[nodiscard]] int getcfg_wrapper(std::string file, std::string section, std::string key, std::string default_value,
                                 std::string& value);

// The same for a setting whose place is known. The library's own.
[[nodiscard]] int getcfg_wrapper(const Setting& setting, std::string& value);

// Writes a setting with /sbin/setcfg, blocking for its run. NO_ERROR or ERR_CMD_FAILED.
[[nodiscard]] int setcfg_wrapper(std::string file, std::string section, std::string key, std::string value);

}  // namespace harbex::system
