#include "json_owner.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace appliance {

json_t* json_text(std::string_view bytes) {
    if (json_t* text = json_stringn(bytes.data(), bytes.size())) return text;
    std::string widened;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            widened += character;
        } else {
            widened += static_cast<char>(0xC0 | (byte >> 6));
            widened += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return json_stringn(widened.data(), widened.size());
}

Json parse_json(std::string_view text) {
    return Json(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES | JSON_DECODE_ANY, nullptr));
}

std::string compact(const json_t* value) {
    const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY),
                                                           &std::free);
    return text ? text.get() : "null";
}

std::string text_of(const json_t* object, const char* key) {
    const json_t* value = json_object_get(object, key);
    return json_is_string(value) ? std::string(json_string_value(value), json_string_length(value)) : "";
}

json_int_t number_of(const json_t* object, const char* key, json_int_t fallback) {
    const json_t* value = json_object_get(object, key);
    return json_is_integer(value) ? json_integer_value(value) : fallback;
}

void merge_patch(json_t* target, const json_t* patch) {
    const char* key;
    json_t* value;
    // The loop macro wants a mutable object but changes nothing.
    json_object_foreach(const_cast<json_t*>(patch), key, value) {
        json_t* present = json_object_get(target, key);
        if (json_is_null(value)) {
            json_object_del(target, key);
        } else if (json_is_object(value)) {
            if (!json_is_object(present)) {
                json_object_set_new(target, key, json_object());
                present = json_object_get(target, key);
            }
            merge_patch(present, value);
        } else {
            json_object_set_new(target, key, json_deep_copy(value));
        }
    }
}

Json read_json_file(const std::string& path) {
    std::ifstream file(path);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    Json value = parse_json(text);
    if (!json_is_object(value.get())) value.reset();
    return value;
}

bool write_json_file(const std::string& path, const json_t* value) {
    const std::string neighbour = path + "." + std::to_string(getpid()) + ".new";
    {
        std::ofstream file(neighbour, std::ios::trunc);
        file << compact(value) << '\n';
        file.flush();
        if (!file) return false;
    }
    return std::rename(neighbour.c_str(), path.c_str()) == 0;
}

}  // namespace appliance
