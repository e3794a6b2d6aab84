// A tree-shaped JSON document for building: values are assigned, members added by key, items appended, and the whole
// is written as compact text. Parsed documents stay jansson values, which a document can hold as leaves.
// Published, but for NoJsonSource.
#pragma once

#include <jansson.h>

#include <concepts>
#include <cstdio>
#include <string>
#include <type_traits>

namespace harbex {

// Any other pointer would turn into `true` by itself.
template <typename T>
concept NoJsonSource = !std::same_as<std::remove_cv_t<T>, char> && !std::same_as<T, json_t>;

// One thread at a time. Children are heap objects owned by their parent: never delete one, nor append it twice.
// A json_t* handed in is taken over with the caller's reference; null gives a leaf without a value.
// A null const char* is the empty text.
class JsonValue {
public:
    enum Type {
        NULL_TYPE = 0,
        ARRAY_TYPE = 1,
        OBJECT_TYPE = 2,
        INT32_TYPE = 3,
        UINT32_TYPE = 4,
        INT64_TYPE = 5,
        UINT64_TYPE = 6,
        DOUBLE_TYPE = 7,
        STRING_TYPE = 8,
        JSON_T_TYPE = 9,
        BOOLEAN_TYPE = 10,
    };

    Type type;
    // The kind's storage, made and freed by this class alone: a std::vector<JsonValue*>, a type derived from
    // std::map<std::string, JsonValue*>, an int32_t, uint32_t, int64_t, uint64_t, double, std::string, json_t, or a
    // byte 0 or 1; null for NULL_TYPE. The children are this value's.
    void* value;

    JsonValue() : type(NULL_TYPE), value(nullptr) {}
    JsonValue(bool flag);
    JsonValue(const char* text);
    JsonValue(std::string text);
    JsonValue(double number);
    JsonValue(int number);
    JsonValue(unsigned int number);
    JsonValue(long long number);
    JsonValue(unsigned long long number);
    JsonValue(json_t* leaf);
    template <NoJsonSource T>
    JsonValue(T*) = delete;
    JsonValue(const JsonValue&) = delete;
    void operator=(const JsonValue&) = delete;
    ~JsonValue() { destroy(); }

    // Frees the storage and all that hangs below it; the value is null afterwards.
    void destroy();

    void operator=(bool flag);
    void operator=(const char* text);
    void operator=(std::string text);
    void operator=(double number);
    void operator=(int number);
    void operator=(unsigned int number);
    void operator=(long long number);
    void operator=(unsigned long long number);
    void operator=(json_t* leaf);
    template <NoJsonSource T>
    void operator=(T*) = delete;

    // For building only: makes this an object and always returns a new null child, never the one that has the key.
    // The replaced one leaves the text, but stays valid until this value is destroyed, or turned into another kind.
    JsonValue& operator[](std::string key);
    // Existing items of arrays only: no bounds check. Any other kind becomes an empty array, and the access is
    // invalid.
    JsonValue& operator[](unsigned index);

    // Makes this an array and takes ownership of `item`; null appends a null value.
    void append(JsonValue* item);
    // Appends a new value; returns this one.
    JsonValue& operator<<(bool flag);
    JsonValue& operator<<(const char* text);
    JsonValue& operator<<(std::string text);
    JsonValue& operator<<(double number);
    JsonValue& operator<<(int number);
    JsonValue& operator<<(unsigned int number);
    JsonValue& operator<<(long long number);
    JsonValue& operator<<(unsigned long long number);
    JsonValue& operator<<(json_t* leaf);
    template <NoJsonSource T>
    JsonValue& operator<<(T*) = delete;

    // Empties an array or object, which stays one. Members that operator[] replaced earlier stay valid.
    void erase();
    // Deletes one item or member; does nothing when there is none, or on another kind.
    void erase(unsigned index);
    void erase(std::string key);

    // Appends the compact text to `out`. A jansson leaf comes in quotes and unescaped, "{"a":1}": callers rely on it.
    void toString(std::string& out);
    // Writes the same structure, but doubles with six decimals and jansson leaves without quotes.
    void print(FILE* stream);
};

// The inside of a JSON text: quote, backslash and control bytes escaped, all other bytes as they are.
std::string escape_json(const std::string& s);

}  // namespace harbex

using harbex::JsonValue;
