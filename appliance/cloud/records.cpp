#include "cloud/records.h"

#include <strings.h>

#include <fstream>

#include "json_owner.h"

namespace appliance {

std::string CloudRequest::query() const {
    const size_t mark = target.find('?');
    return mark == std::string::npos ? "" : target.substr(mark + 1);
}

std::string CloudRequest::header(std::string_view name) const {
    for (const std::string& line : headers) {
        const size_t colon = line.find(':');
        if (colon != name.size() || strncasecmp(line.c_str(), name.data(), colon) != 0) continue;
        const size_t start = line.find_first_not_of(" \t", colon + 1);
        return start == std::string::npos ? "" : line.substr(start, line.find_last_not_of(" \t") - start + 1);
    }
    return "";
}

unsigned Records::count_connection() {
    const std::lock_guard lock(mutex_);
    return ++connections_;
}

void Records::add(unsigned number, const CloudRequest& request, int status) {
    const Json record(json_object());
    json_object_set_new(record.get(), "number", json_integer(number));
    json_object_set_new(record.get(), "host", json_text(request.host));
    json_object_set_new(record.get(), "method", json_text(request.method));
    json_object_set_new(record.get(), "target", json_text(request.target));
    json_t* headers = json_array();
    for (const std::string& line : request.headers)
        json_array_append_new(headers, json_text(line));
    json_object_set_new(record.get(), "headers", headers);
    json_object_set_new(record.get(), "body", json_text(request.body));
    json_object_set_new(record.get(), "status", json_integer(status));
    const std::lock_guard lock(mutex_);
    std::ofstream file(file_, std::ios::app);
    file << compact(record.get()) << '\n';
}

void Records::clear() {
    const std::lock_guard lock(mutex_);
    connections_ = 0;
    std::ofstream file(file_, std::ios::trunc);
}

}  // namespace appliance
