#include "eventlog/event_log.h"

#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "eventlog/nc_msg_db.h"
#include "nas_event_log.h"

namespace harbex::system {
namespace {

constexpr int kInformation = 0;
constexpr int kWarning = 1;
constexpr size_t kEntrySize = 1025;
constexpr size_t kPrivilegesApplied = 3;
constexpr size_t kPrivilegesRemoved = 4;

void add_entry(std::string_view text, int type) {
    naslog_event event{};
    event.type = type;
    text.copy(event.event_desc, sizeof event.event_desc - 1);
    (void)naslog_event_add(&event);  // there is nobody to tell
}

[[gnu::format(printf, 2, 3)]] void add_formatted(int type, const char* format, ...) {
    char text[kEntrySize] = "";
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    add_entry(text, type);
}

void notify_user(size_t row, const std::string& user) {
    nclog::notify_send(&__NC_MSG_DB__[row], user.c_str(), static_cast<const char*>(nullptr));
}

}  // namespace

void add_log(const std::string& text, int type) {
    add_entry(text, type);
}

void add_up_event_log(const char* a, const char* b, const char* c) {
    add_formatted(kInformation, "[Harbex Service] %s %s is %s.", a, b, c);
}

void add_down_event_log(const char* a, const char* b, const char* c) {
    add_up_event_log(a, b, c);
}

void add_apply_event_log(const char* a, const char* b) {
    add_formatted(kInformation, "[Harbex Service] %s %s configuration is applied.", a, b);
}

void add_remove_event_log(const char* a, const char* b) {
    add_formatted(kWarning, "[Harbex Service] %s %s configuration is removed.", a, b);
}

void set_privilege_event_log(const std::vector<std::string>& users) {
    for (const std::string& user : users)
        notify_user(kPrivilegesApplied, user);
}

void unset_privilege_event_log(const std::vector<std::string>& users) {
    if (!users.empty()) notify_user(kPrivilegesRemoved, users.front());
}

}  // namespace harbex::system
