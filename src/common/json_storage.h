// What JsonValue::value points to, for the two halves of the document: the tree (json.cpp) and its text
// (json_text.cpp).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/json.h"

namespace harbex::json_storage {

using Items = std::vector<JsonValue*>;

// A member's entry points to the child like an item does; the child itself stands behind, in the same block of
// memory.
struct Member {
    JsonValue* child = &own;
    JsonValue own;
};

// The order of std::string itself: bytes compare unsigned, the shorter text is first on a common prefix. Most names
// differ in the first byte already (a NUL stands behind an empty one), which saves the call that compares them.
struct BytewiseLess {
    bool operator()(const std::string& a, const std::string& b) const {
        const auto first_a = static_cast<unsigned char>(*a.c_str());
        const auto first_b = static_cast<unsigned char>(*b.c_str());
        return first_a != first_b ? first_a < first_b : a < b;
    }
};
using Members = std::map<std::string, Member, BytewiseLess>;

// Seen as its base it is the plain map; the entries that were replaced wait behind it for their end.
struct Object : Members {
    std::vector<node_type> replaced;
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

inline bool is_container(const JsonValue& value) {
    return value.type == JsonValue::ARRAY_TYPE || value.type == JsonValue::OBJECT_TYPE;
}
inline Items* items_of(const JsonValue& array) {
    return static_cast<Items*>(array.value);
}
inline Object* object_of(const JsonValue& object) {
    return static_cast<Object*>(static_cast<Members*>(object.value));
}

}  // namespace harbex::json_storage
