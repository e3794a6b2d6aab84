// Owners and readers for jansson values. The library's own.
#pragma once

#include <jansson.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace harbex {

// Owns one reference. (json_decref is static: as a template argument it would make a type of its own in each unit.)
struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};
using JsonOwner = std::unique_ptr<json_t, JsonRelease>;

// Copies a text into `out`; false, with `out` untouched, when `value` is null or no text.
[[nodiscard]] inline bool take_text(const json_t* value, std::string& out) {
    if (!json_is_string(value)) return false;
    out.assign(json_string_value(value), json_string_length(value));
    return true;
}

// The object or array that `text` holds; null for any other text, and then the parser's words are in `error`.
// jansson's parser ends the program, or loses characters, when it cannot have a few bytes more. Short of memory it
// gets them from 256 KiB that are set aside, unless the program has given jansson an allocator of its own.
[[nodiscard]] JsonOwner load_json(std::string_view text, json_error_t* error = nullptr);

// Sets that memory aside, for the first time or anew. load_json does so by itself; a program may want to do it while
// it has one thread only.
void set_json_memory_aside();

// As load_json. Null after `complain` was called with the parser's words (a const char*).
template <typename Complain>
[[nodiscard]] JsonOwner parse_json(std::string_view text, Complain complain) {
    json_error_t error{};
    JsonOwner document = load_json(text, &error);
    if (!document) complain(static_cast<const char*>(error.text));
    return document;
}

// The text of member `key`; "" when `object` is null or no object, or the member is absent or no text.
inline std::string json_member_text(const json_t* object, const char* key) {
    std::string text;
    (void)take_text(json_object_get(object, key), text);  // without one: empty
    return text;
}

// Serialises `value` piece by piece through `take(bytes, size)`, which says whether it took them and throws nothing.
// False when it did not, or when there is nothing to serialise. (jansson by itself goes on when a member's name could
// not be written, in json_dumps too.)
template <typename Take>
[[nodiscard]] bool dump_json(const json_t* value, size_t flags, Take take) {
    struct Sink {
        Take take;
        bool is_whole = true;
    } sink{std::move(take)};
    const auto pass = [](const char* bytes, size_t size, void* data) {
        auto& to = *static_cast<Sink*>(data);
        to.is_whole = to.is_whole && to.take(bytes, size);
        return to.is_whole ? 0 : -1;
    };
    return json_dump_callback(value, pass, &sink, flags) == 0 && sink.is_whole;
}

// The serialised value; "" when it cannot be serialised (a null pointer, no object or array without JSON_ENCODE_ANY,
// or short memory).
inline std::string json_dump_text(const json_t* value, size_t flags) {
    std::string text;
    const auto append = [&text](const char* bytes, size_t size) {
        try {
            text.append(bytes, size);
            return true;
        } catch (...) {
            return false;
        }
    };
    if (!dump_json(value, flags, append)) text.clear();
    return text;
}

}  // namespace harbex
