#include "nas_config.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string>

#include "settings_file.h"
#include "settings_text.h"

namespace {

std::string value_or(const char* section, const char* key, const char* fallback, const char* file) {
    std::string text;
    if (key == nullptr || file == nullptr || settings::read_file(file, text) != nullptr) return fallback;
    return settings::find(text, section != nullptr ? section : "", key).value_or(fallback);
}

int copy_out(const char* text, size_t length, char* buf, size_t size) {
    const size_t count = std::min(length, size - 1);
    memcpy(buf, text, count);
    buf[count] = '\0';
    return static_cast<int>(count);
}

}  // namespace

int Get_Private_Profile_String(const char* section, const char* key, const char* def, char* buf, int size,
                               const char* file) {
    if (buf == nullptr || size <= 0) return 0;
    const char* fallback = def != nullptr ? def : "";
    const size_t room = static_cast<size_t>(size);
    try {
        const std::string value = value_or(section, key, fallback, file);
        return copy_out(value.data(), value.size(), buf, room);
    } catch (const std::exception&) {  // memory is short
        return copy_out(fallback, strlen(fallback), buf, room);
    }
}
