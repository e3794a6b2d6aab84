// Entries of the NAS's system event log, and the notifications that go with changed VPN privileges. Published.
// Nothing is reported back: a failing log or notification tool loses the entry. Formatted entries are cut at 1,024
// bytes.
#pragma once

#include <string>
#include <vector>

namespace harbex::system {

// Adds `text`, cut at 2,048 bytes, as it is. `type`: 0 information, 1 warning.
void add_log(const std::string& text, int type);

// Adds the information "[Harbex Service] <a> <b> is <c>."; `c` carries the state word.
void add_up_event_log(const char* a, const char* b, const char* c);
// The same entry as add_up_event_log's: the names differ for the callers.
void add_down_event_log(const char* a, const char* b, const char* c);
// Adds the information "[Harbex Service] <a> <b> configuration is applied."
void add_apply_event_log(const char* a, const char* b);
// Adds the warning "[Harbex Service] <a> <b> configuration is removed."
void add_remove_event_log(const char* a, const char* b);

// Notifies once for every user.
void set_privilege_event_log(const std::vector<std::string>& users);
// Notifies of the first user only; listeners count on it. An empty list sends nothing.
void unset_privilege_event_log(const std::vector<std::string>& users);

}  // namespace harbex::system
