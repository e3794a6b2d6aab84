// What the SD-WAN edge of this NAS is doing: its agent, tunnels, hub, geography and super node. One file, read by
// corvane_expressd at every call and changed by the init scripts, the account tools and the cloud.
#pragma once

#include "json_owner.h"

namespace appliance {

// The state, with its factory values where the file says nothing.
Json read_edge_state();
// Merges `patch` (RFC 7396) under the file's lock. False when the file cannot be written.
bool change_edge_state(const json_t* patch);
// Takes the tunnels down when the agent stands for `device_id`, which the cloud has deleted.
bool disconnect_edge(const std::string& device_id);

}  // namespace appliance
