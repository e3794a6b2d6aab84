#include "common/json.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "common/json_storage.h"

namespace harbex {
namespace {

using namespace json_storage;

static_assert(sizeof(JsonValue) == 2 * sizeof(void*));

void store_text(JsonValue& target, std::string text) {
    if (target.type != JsonValue::STRING_TYPE) target.destroy();
    if (target.value == nullptr) {
        target.value = new std::string(std::move(text));
    } else {
        *static_cast<std::string*>(target.value) = std::move(text);
    }
    target.type = JsonValue::STRING_TYPE;
}

template <typename T>
void store_number(JsonValue& target, JsonValue::Type type, T number) {
    if (target.type != type) target.destroy();
    if (target.value == nullptr) target.value = new Cell;
    new (target.value) T(number);
    target.type = type;
}

Items& become_array(JsonValue& target) {
    if (target.type != JsonValue::ARRAY_TYPE) target.destroy();
    if (target.value == nullptr) target.value = new Items;
    target.type = JsonValue::ARRAY_TYPE;
    return *items_of(target.value);
}

Object& become_object(JsonValue& target) {
    if (target.type != JsonValue::OBJECT_TYPE) target.destroy();
    if (target.value == nullptr) target.value = static_cast<Members*>(new Object);
    target.type = JsonValue::OBJECT_TYPE;
    return *object_of(target.value);
}

std::string text_or_empty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

void free_container(JsonValue::Type type, void* storage) {
    if (type == JsonValue::ARRAY_TYPE) {
        const std::unique_ptr<Items> items(static_cast<Items*>(storage));
        for (const JsonValue* item : *items)
            delete item;
    } else {
        const std::unique_ptr<Object> object(static_cast<Object*>(static_cast<Members*>(storage)));
        for (const auto& [key, child] : *object)
            delete child;
        for (const JsonValue* child : object->replaced)
            delete child;
    }
}

// Without recursion, as a document may be nested deeper than the stack is long: the arrays and objects inside come
// back here when their parent is freed, and line up.
void free_tree(JsonValue::Type type, void* storage) {
    thread_local std::vector<std::pair<JsonValue::Type, void*>>* line = nullptr;
    if (storage == nullptr) return;
    if (line != nullptr) {
        try {
            line->emplace_back(type, storage);
        } catch (const std::bad_alloc&) {  // no room in the line: freed at once, one level deeper
            free_container(type, storage);
        }
        return;
    }
    std::vector<std::pair<JsonValue::Type, void*>> orphans;
    line = &orphans;
    free_container(type, storage);
    while (!orphans.empty()) {
        const auto [orphan_type, orphan] = orphans.back();
        orphans.pop_back();
        free_container(orphan_type, orphan);
    }
    line = nullptr;
}

}  // namespace

JsonValue::JsonValue(bool flag) : JsonValue() {
    *this = flag;
}
JsonValue::JsonValue(const char* text) : JsonValue() {
    *this = text;
}
JsonValue::JsonValue(std::string text) : JsonValue() {
    *this = std::move(text);
}
JsonValue::JsonValue(double number) : JsonValue() {
    *this = number;
}
JsonValue::JsonValue(int number) : JsonValue() {
    *this = number;
}
JsonValue::JsonValue(unsigned int number) : JsonValue() {
    *this = number;
}
JsonValue::JsonValue(long long number) : JsonValue() {
    *this = number;
}
JsonValue::JsonValue(unsigned long long number) : JsonValue() {
    *this = number;
}
JsonValue::JsonValue(json_t* leaf) : type(JSON_T_TYPE), value(leaf) {}

void JsonValue::destroy() {
    switch (type) {
        case ARRAY_TYPE:
        case OBJECT_TYPE:
            free_tree(type, value);
            break;
        case INT32_TYPE:
        case UINT32_TYPE:
        case INT64_TYPE:
        case UINT64_TYPE:
        case DOUBLE_TYPE:
        case BOOLEAN_TYPE:
            delete static_cast<Cell*>(value);
            break;
        case STRING_TYPE:
            delete static_cast<std::string*>(value);
            break;
        case JSON_T_TYPE:
            json_decref(static_cast<json_t*>(value));
            break;
        default:
            break;
    }
    type = NULL_TYPE;
    value = nullptr;
}

void JsonValue::operator=(bool flag) {
    store_number<unsigned char>(*this, BOOLEAN_TYPE, flag ? 1 : 0);
}
void JsonValue::operator=(const char* text) {
    store_text(*this, text_or_empty(text));
}
void JsonValue::operator=(std::string text) {
    store_text(*this, std::move(text));
}
void JsonValue::operator=(double number) {
    store_number(*this, DOUBLE_TYPE, number);
}
void JsonValue::operator=(int number) {
    store_number<int32_t>(*this, INT32_TYPE, number);
}
void JsonValue::operator=(unsigned int number) {
    store_number<uint32_t>(*this, UINT32_TYPE, number);
}
void JsonValue::operator=(long long number) {
    store_number<int64_t>(*this, INT64_TYPE, number);
}
void JsonValue::operator=(unsigned long long number) {
    store_number<uint64_t>(*this, UINT64_TYPE, number);
}

void JsonValue::operator=(json_t* leaf) {
    destroy();
    type = JSON_T_TYPE;
    value = leaf;
}

JsonValue& JsonValue::operator[](std::string key) {
    Object& object = become_object(*this);
    auto child = std::make_unique<JsonValue>();
    JsonValue*& entry = object[std::move(key)];
    if (entry != nullptr) object.replaced.push_back(entry);
    entry = child.release();
    return *entry;
}

JsonValue& JsonValue::operator[](unsigned index) {
    return *become_array(*this)[index];
}

void JsonValue::append(JsonValue* item) {
    std::unique_ptr<JsonValue> owned(item == nullptr ? new JsonValue : item);
    become_array(*this).push_back(owned.get());
    (void)owned.release();
}

JsonValue& JsonValue::operator<<(bool flag) {
    return append(new JsonValue(flag)), *this;
}
JsonValue& JsonValue::operator<<(const char* text) {
    return append(new JsonValue(text)), *this;
}
JsonValue& JsonValue::operator<<(std::string text) {
    return append(new JsonValue(std::move(text))), *this;
}
JsonValue& JsonValue::operator<<(double number) {
    return append(new JsonValue(number)), *this;
}
JsonValue& JsonValue::operator<<(int number) {
    return append(new JsonValue(number)), *this;
}
JsonValue& JsonValue::operator<<(unsigned int number) {
    return append(new JsonValue(number)), *this;
}
JsonValue& JsonValue::operator<<(long long number) {
    return append(new JsonValue(number)), *this;
}
JsonValue& JsonValue::operator<<(unsigned long long number) {
    return append(new JsonValue(number)), *this;
}
JsonValue& JsonValue::operator<<(json_t* leaf) {
    return append(new JsonValue(leaf)), *this;
}

void JsonValue::erase() {
    if (value == nullptr) return;
    if (type == ARRAY_TYPE) {
        Items& items = *items_of(value);
        for (; !items.empty(); items.pop_back())
            delete items.back();
    } else if (type == OBJECT_TYPE) {
        Object& object = *object_of(value);
        for (const auto& [key, child] : object)
            delete child;
        object.clear();
    }
}

void JsonValue::erase(unsigned index) {
    if (type != ARRAY_TYPE || value == nullptr) return;
    Items& items = *items_of(value);
    if (index >= items.size()) return;
    delete items[index];
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(index));
}

void JsonValue::erase(std::string key) {
    if (type != OBJECT_TYPE || value == nullptr) return;
    Object& object = *object_of(value);
    const auto found = object.find(key);
    if (found == object.end()) return;
    delete found->second;
    object.erase(found);
}

}  // namespace harbex
