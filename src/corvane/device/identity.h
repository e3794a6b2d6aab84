// What the NAS says about itself when it enrols, each read from the NAS's own files. Published.
#pragma once

#include <string>

namespace harbex::corvane {

// NO_ERROR, or ERR_CMD_FAILED with `name` empty. The virtual-machine edition, which has no display name, is
// recognised by its platform line.
[[nodiscard]] int get_nas_model_name(std::string& name);
// The first line of /etc/hostname. NO_ERROR, or ERR_CMD_FAILED with `name` untouched when it cannot be read.
[[nodiscard]] int get_host_name(std::string& name);
// The account's display name. NO_ERROR, or ERR_CMD_FAILED with `contact` empty.
[[nodiscard]] int get_contact(std::string& contact);
// The token the cloud agent was given. NO_ERROR, or ERR_CMD_FAILED with `token` untouched when there is none.
[[nodiscard]] int get_device_token(std::string& token);
// The device id the cloud agent was given; empty when there is none.
std::string get_device_id();
// The first line of /etc/config/TZ; empty when it cannot be read.
std::string get_timezone();

}  // namespace harbex::corvane
