// Which NAS this is, and who is asking. Published.
#pragma once

namespace harbex::system {

// The misspelling is the published name.
enum SessionRights { INVAILD_USER = 0, GENERAL_USER = 1, ADMIN_USER = 2 };

// The edition of the NAS system: whether its marker is a regular file, links followed.
bool is_demo();
bool is_generic();
bool is_talon();

// Texts of the system's settings, cut at 255 bytes, "" when they are missing. Each getter has one buffer a thread,
// which its next call in that thread overwrites. Model and firmware version are the factory's, server name and region
// the owner's.
const char* get_model_name();
const char* get_server_name();
const char* get_firmware_version();
const char* get_server_region();

// INVAILD_USER for a null or unknown session, ADMIN_USER for a member of the group "administrators".
SessionRights auth_user_session(const char* session_id);

}  // namespace harbex::system
