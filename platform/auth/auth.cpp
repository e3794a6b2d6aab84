// Web sessions are files of one directory, named by the session id: the user's name on the first line, on the second,
// if there is one, the time in seconds since the epoch at which the session ends. Groups are the system's.
#include <grp.h>
#include <pwd.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include "nas_auth.h"

namespace {

constexpr const char* kSessions = "/var/run/nas_sessions/";
constexpr size_t kLongestId = 64;

// Only plain names: an id comes from a browser's cookie and must not lead anywhere else.
bool plausible(const char* id) {
    const size_t length = strnlen(id, kLongestId + 1);
    return length > 0 && length <= kLongestId && std::all_of(id, id + length, [](unsigned char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
                      c == '_';
           });
}

bool ended(const std::string& end) {
    return !end.empty() && std::strtoll(end.c_str(), nullptr, 10) <= static_cast<long long>(time(nullptr));
}

gid_t primary_group(const char* user) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(16384);
    if (getpwnam_r(user, &entry, texts.data(), texts.size(), &found) != 0 || found == nullptr)
        return static_cast<gid_t>(-1);
    return found->pw_gid;
}

bool belongs(const char* user, const char* group) {
    ::group entry{};
    ::group* found = nullptr;
    std::vector<char> texts(65536);
    if (getgrnam_r(group, &entry, texts.data(), texts.size(), &found) != 0 || found == nullptr) return false;
    const gid_t wanted = found->gr_gid;
    int count = 64;
    std::vector<gid_t> groups(static_cast<size_t>(count));
    while (getgrouplist(user, primary_group(user), groups.data(), &count) < 0)
        groups.resize(static_cast<size_t>(count));
    groups.resize(static_cast<size_t>(count));
    return std::find(groups.begin(), groups.end(), wanted) != groups.end();
}

}  // namespace

int auth_get_session(const char* id, int flag, auth_session* session) {
    if (id == nullptr || session == nullptr || !plausible(id)) return -1;
    try {
        std::ifstream file(std::string(kSessions) + id);
        std::string user;
        std::string end;
        if (!std::getline(file, user) || user.empty() || user.size() >= sizeof session->user) return -1;
        std::getline(file, end);
        if (flag == 1 && ended(end)) return -1;
        *session = {};
        user.copy(session->user, sizeof session->user - 1);
        return 0;
    } catch (const std::exception&) {
        return -1;  // out of memory
    }
}

int User_Belongs_To_Group(const char* user, const char* group) {
    if (user == nullptr || group == nullptr) return 0;
    try {
        return belongs(user, group) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}
