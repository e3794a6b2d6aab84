// A JsonValue built like the document says the same to jansson's parser.
#include "common/json.h"

#include <jansson.h>

#include "common/json_owner.h"
#include "fuzz.h"

namespace {

void build(const json_t* from, JsonValue& to) {
    const char* key = nullptr;
    json_t* child = nullptr;
    size_t index = 0;
    switch (json_typeof(from)) {
        case JSON_OBJECT:
            to[""];
            to.erase();  // an object, also without members
            json_object_foreach(const_cast<json_t*>(from), key, child) build(child, to[key]);
            break;
        case JSON_ARRAY:
            to << "";
            to.erase();
            json_array_foreach(from, index, child) {
                to.append(new JsonValue);
                build(child, to[static_cast<unsigned>(index)]);
            }
            break;
        case JSON_STRING:
            to = std::string(json_string_value(from), json_string_length(from));
            break;
        case JSON_NULL:
            break;
        default:
            if (json_is_boolean(from))
                to = static_cast<bool>(json_is_true(from));
            else
                to = static_cast<long long>(
                    json_integer_value(from));  // 0 for a real, whose digits are another matter
    }
}

}  // namespace

void fuzz::one(std::string_view input) {
    const harbex::JsonOwner document(json_loadb(input.data(), input.size(), 0, nullptr));
    if (!document) return;
    JsonValue first, second;
    build(document.get(), first);
    std::string text, again;
    first.toString(text);
    const harbex::JsonOwner back(json_loadb(text.data(), text.size(), 0, nullptr));
    require(back != nullptr, "the text is JSON");
    build(back.get(), second);
    second.toString(again);
    require(text == again, "the text says what was built");
}
