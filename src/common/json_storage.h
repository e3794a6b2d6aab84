// What JsonValue::value points to, for the two halves of the document: the tree (json.cpp) and its text
// (json_text.cpp). The library's own; that objects are maps and arrays vectors is published, in common/json.h.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace harbex {
class JsonValue;
}

namespace harbex::json_storage {

using Items = std::vector<JsonValue*>;

using Members = std::map<std::string, JsonValue*>;

// Seen as its base it is the plain map; the children that were replaced wait behind it for their end.
struct Object : Members {
    std::vector<JsonValue*> replaced;
};

// Numbers and booleans are made and freed as one, so that no kind has to be told from another for that.
union Cell {
    int32_t int32;
    uint32_t uint32;
    int64_t int64;
    uint64_t uint64;
    double real;
    unsigned char boolean;
};

inline Items* items_of(void* array) {
    return static_cast<Items*>(array);
}
inline Object* object_of(void* object) {
    return static_cast<Object*>(static_cast<Members*>(object));
}

}  // namespace harbex::json_storage
