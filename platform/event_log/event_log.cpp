#include <string.h>

#include <exception>
#include <string>
#include <utility>

#include "json_lines.h"
#include "nas_event_log.h"

namespace {

constexpr const char* kEventLog = "/var/log/event.log";

template <size_t kSize>
std::string text_of(const char (&field)[kSize], const std::string& when_empty) {
    const std::string text(field, strnlen(field, kSize));
    return text.empty() ? when_empty : text;
}

}  // namespace

int naslog_event_add(naslog_event* event) {
    if (event == nullptr) return -1;
    try {
        nas::Json line(json_object());
        json_object_set_new(line.get(), "time",
                            nas::json_text(text_of(event->event_datetime, nas::local_time_text())).release());
        json_object_set_new(line.get(), "id", json_integer(event->event_id));
        json_object_set_new(line.get(), "type", json_integer(event->type));
        json_object_set_new(line.get(), "user", nas::json_text(text_of(event->event_user, "System")).release());
        json_object_set_new(line.get(), "ip", nas::json_text(text_of(event->event_ip, "127.0.0.1")).release());
        json_object_set_new(line.get(), "computer",
                            nas::json_text(text_of(event->event_comp, "localhost")).release());
        json_object_set_new(line.get(), "description", nas::json_text(text_of(event->event_desc, "")).release());
        return nas::append_json_line(kEventLog, std::move(line));
    } catch (const std::exception&) {
        return -1;  // out of memory
    }
}
