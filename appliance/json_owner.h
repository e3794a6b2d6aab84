// What the appliance's programs share around jansson: an owner, texts, and the merging of state.
#pragma once

#include <jansson.h>

#include <memory>
#include <string>
#include <string_view>

namespace appliance {

struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

// A JSON text of any bytes: what is not UTF-8 is taken byte by byte, as Latin-1.
json_t* json_text(std::string_view bytes);
// Null when `text` is no JSON.
Json parse_json(std::string_view text);
std::string compact(const json_t* value);
// The text under `key`, "" when there is none.
std::string text_of(const json_t* object, const char* key);
// The number under `key`, `fallback` when there is none.
json_int_t number_of(const json_t* object, const char* key, json_int_t fallback);
// RFC 7396: members of `patch` replace those of `target`, objects member by member; null removes.
void merge_patch(json_t* target, const json_t* patch);

// Empty when the file is not there or holds no JSON object.
Json read_json_file(const std::string& path);
// Replaces the file by a neighbour, so that a reader sees the old or the new one, whole.
bool write_json_file(const std::string& path, const json_t* value);

}  // namespace appliance
