#include <string.h>

#include <exception>
#include <string>

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
        json_t* line = json_object();
        json_object_set_new(line, "time", nas::json_text(text_of(event->event_datetime, nas::local_time_text())));
        json_object_set_new(line, "id", json_integer(event->event_id));
        json_object_set_new(line, "type", json_integer(event->type));
        json_object_set_new(line, "user", nas::json_text(text_of(event->event_user, "System")));
        json_object_set_new(line, "ip", nas::json_text(text_of(event->event_ip, "127.0.0.1")));
        json_object_set_new(line, "computer", nas::json_text(text_of(event->event_comp, "localhost")));
        json_object_set_new(line, "description", nas::json_text(text_of(event->event_desc, "")));
        return nas::append_json_line(kEventLog, line);
    } catch (const std::exception&) {
        return -1;  // out of memory
    }
}
