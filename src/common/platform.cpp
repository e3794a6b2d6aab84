#include "common/platform.h"

#include <sys/stat.h>

#include "nas_auth.h"
#include "nas_config.h"

#include "common/settings_files.h"

namespace harbex::system {
namespace {

constexpr int kBufferSize = 256;

bool has_marker(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

const char* read_text(const Setting& setting, char (&buffer)[kBufferSize]) {
    buffer[0] = '\0';
    // The text itself says all.
    (void)Get_Private_Profile_String(setting.section, setting.key, setting.fallback, buffer, kBufferSize,
                                     setting.file);
    return buffer;
}

}  // namespace

bool is_demo() {
    return has_marker("/etc/IS_DEMO");
}

bool is_generic() {
    return has_marker("/etc/IS_GENERIC");
}

bool is_talon() {
    return has_marker("/etc/TESSEL_ZFS");
}

const char* get_model_name() {
    static thread_local char buffer[kBufferSize];
    return read_text(kModel, buffer);
}

const char* get_server_name() {
    static thread_local char buffer[kBufferSize];
    return read_text(kServerName, buffer);
}

const char* get_firmware_version() {
    static thread_local char buffer[kBufferSize];
    return read_text(kFirmwareVersion, buffer);
}

const char* get_server_region() {
    static thread_local char buffer[kBufferSize];
    return read_text(kServerRegion, buffer);
}

SessionRights auth_user_session(const char* session_id) {
    constexpr int kLiveOnly = 1;
    auth_session session{};
    if (session_id == nullptr || auth_get_session(session_id, kLiveOnly, &session) != 0) return INVAILD_USER;
    return User_Belongs_To_Group(session.user, "administrators") != 0 ? ADMIN_USER : GENERAL_USER;
}

}  // namespace harbex::system
