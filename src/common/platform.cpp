#include "common/platform.h"

#include <sys/stat.h>

#include "nas_auth.h"
#include "nas_config.h"

namespace harbex::system {
namespace {

constexpr int kBufferSize = 256;
constexpr const char* kFactorySettings = "/etc/default_config/kernos.conf";
constexpr const char* kOwnerSettings = "/etc/config/kernos.conf";

bool has_marker(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

const char* read_system_text(const char* file, const char* key, char (&buffer)[kBufferSize]) {
    buffer[0] = '\0';
    (void)Get_Private_Profile_String("System", key, "", buffer, kBufferSize, file);  // the text itself says all
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
    return read_system_text(kFactorySettings, "Model", buffer);
}

const char* get_server_name() {
    static thread_local char buffer[kBufferSize];
    return read_system_text(kOwnerSettings, "Server Name", buffer);
}

const char* get_firmware_version() {
    static thread_local char buffer[kBufferSize];
    return read_system_text(kFactorySettings, "Version", buffer);
}

const char* get_server_region() {
    static thread_local char buffer[kBufferSize];
    return read_system_text(kOwnerSettings, "Region", buffer);
}

SessionRights auth_user_session(const char* session_id) {
    constexpr int kLiveOnly = 1;
    auth_session session{};
    if (session_id == nullptr || auth_get_session(session_id, kLiveOnly, &session) != 0) return INVAILD_USER;
    return User_Belongs_To_Group(session.user, "administrators") != 0 ? ADMIN_USER : GENERAL_USER;
}

}  // namespace harbex::system
