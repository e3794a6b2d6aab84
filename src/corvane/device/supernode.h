// The super node's tunnel parameters, and the change of the NAS's SD-WAN address. Published.
#pragma once

#include <string>

namespace harbex::corvane {

// Turns the cloud's super-node record into the file the tunnel set-up reads. NO_ERROR; ERR_WRONG_JSON_FORMAT, with
// nothing written, for a record that is not whole; ERR_SAVE_FILE when the file cannot be opened or written (it may
// then be cut short); ERR_NO_MEMORY.
[[nodiscard]] int parse_supernode(const std::string& json_text);

// Checks `new_ip` against the NAS's own networks, stores it and pushes it to the edge daemon; tells the notification
// centre. Blocks for up to 60 s a bus call, of which there are three. NO_ERROR; ERR_WRONG_VIRTUAL_IP on a clash,
// nothing changed; ERR_CMD_FAILED otherwise: when the daemon failed, the new address is stored and the call may be
// repeated.
[[nodiscard]] int modify_virtual_ip(const std::string& new_ip);

}  // namespace harbex::corvane
