// Owners and readers for jansson values.
#pragma once

#include <jansson.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace harbex {

struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};
// Owns one reference.
using JsonOwner = std::unique_ptr<json_t, JsonRelease>;

struct JsonTextFree {
    void operator()(char* text) const { std::free(text); }
};
// Owns the result of json_dumps.
using JsonTextOwner = std::unique_ptr<char, JsonTextFree>;

// The text of member `key`; "" when `object` is null or no object, or the member is absent or no text.
inline std::string json_member_text(const json_t* object, const char* key) {
    const json_t* member = json_object_get(object, key);
    const char* text = json_string_value(member);
    return text == nullptr ? std::string() : std::string(text, json_string_length(member));
}

// The serialised value; "" when it cannot be serialised (a null pointer, or no object or array without
// JSON_ENCODE_ANY).
inline std::string json_dump_text(const json_t* value, size_t flags) {
    const JsonTextOwner text(json_dumps(value, flags));
    return text == nullptr ? std::string() : std::string(text.get());
}

// Another reference to `value`, which may be null, for an owner of its own.
inline JsonOwner json_share(json_t* value) {
    return JsonOwner(json_incref(value));
}

}  // namespace harbex
