// Owners and readers for jansson values. The library's own.
#pragma once

#include <jansson.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "common/releaser.h"

namespace harbex {

// Owns one reference. (json_decref is static: as a template argument it would make a type of its own in each unit.)
struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};
using JsonOwner = std::unique_ptr<json_t, JsonRelease>;
// Owns the result of json_dumps.
using JsonTextOwner = std::unique_ptr<char, system::Releaser<std::free>>;

// Copies a text into `out`; false, with `out` untouched, when `value` is null or no text.
[[nodiscard]] inline bool take_text(const json_t* value, std::string& out) {
    if (!json_is_string(value)) return false;
    out.assign(json_string_value(value), json_string_length(value));
    return true;
}

// The object or array that `text` holds. For any other text null, after `complain` was called with the parser's words
// (a const char*).
template <typename Complain>
[[nodiscard]] JsonOwner parse_json(std::string_view text, Complain complain) {
    json_error_t error{};
    JsonOwner document(json_loadb(text.data(), text.size(), 0, &error));
    if (!document) complain(static_cast<const char*>(error.text));
    return document;
}

// The text of member `key`; "" when `object` is null or no object, or the member is absent or no text.
inline std::string json_member_text(const json_t* object, const char* key) {
    std::string text;
    (void)take_text(json_object_get(object, key), text);  // without one: empty
    return text;
}

// The serialised value; "" when it cannot be serialised (a null pointer, or no object or array without
// JSON_ENCODE_ANY).
inline std::string json_dump_text(const json_t* value, size_t flags) {
    const JsonTextOwner text(json_dumps(value, flags));
    return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace harbex
