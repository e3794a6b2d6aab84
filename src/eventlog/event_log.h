// Entries of the NAS's system event log, and the notifications that go with changed VPN privileges. Nothing is
// reported back: a failing log or notification tool loses the entry.
#pragma once

#include <string>
#include <vector>

namespace harbex::system {

// `type`: 0 information, 1 warning. A text above 2,048 bytes is cut there.
void add_log(const std::string& text, int type);

// The formatted entries are cut at 1,024 bytes.
// "[Harbex Service] <a> <b> is <c>.": `c` carries the state word; up and down differ in name only.
void add_up_event_log(const char* a, const char* b, const char* c);
void add_down_event_log(const char* a, const char* b, const char* c);
// "[Harbex Service] <a> <b> configuration is applied." / "… removed.", the latter a warning.
void add_apply_event_log(const char* a, const char* b);
void add_remove_event_log(const char* a, const char* b);

// Notifies once for every user.
void set_privilege_event_log(const std::vector<std::string>& users);
// Notifies of the first user only; listeners count on it. An empty list sends nothing.
void unset_privilege_event_log(const std::vector<std::string>& users);

}  // namespace harbex::system
