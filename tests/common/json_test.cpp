#include "common/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

#include "common/json_owner.h"

namespace {

using harbex::JsonOwner;

std::string text_of(JsonValue& value) {
    std::string text;
    value.toString(text);
    return text;
}

std::string printed(JsonValue& value) {
    char* bytes = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&bytes, &size);
    value.print(stream);
    (void)std::fclose(stream);
    std::string text(bytes, size);
    std::free(bytes);
    return text;
}

json_t* parsed(const char* text) {
    return json_loads(text, JSON_DECODE_ANY, nullptr);
}

template <typename T>
constexpr bool kAssignable = requires(JsonValue& value, T source) {
    value = source;
};
static_assert(kAssignable<char*> && kAssignable<std::string> && kAssignable<json_t*> && kAssignable<short>);
// What would become `true`, or fit several kinds equally well, must not compile.
static_assert(!kAssignable<const json_t*> && !kAssignable<void*> && !kAssignable<std::nullptr_t> &&
              !kAssignable<long>);
static_assert(!std::is_copy_constructible_v<JsonValue> && !kAssignable<const JsonValue&>);
static_assert(std::is_standard_layout_v<JsonValue>);

TEST(JsonText, EachKindInBothForms) {
    const struct {
        const char* name;
        std::function<void(JsonValue&)> fill;
        JsonValue::Type type;
        const char *text, *print;
    } cases[] = {
        {"null", [](JsonValue&) {}, JsonValue::NULL_TYPE, "null", "null"},
        {"true", [](JsonValue& v) { v = true; }, JsonValue::BOOLEAN_TYPE, "true", "true"},
        {"false", [](JsonValue& v) { v = false; }, JsonValue::BOOLEAN_TYPE, "false", "false"},
        {"literal", [](JsonValue& v) { v = "a/b"; }, JsonValue::STRING_TYPE, R"("a/b")", R"("a/b")"},
        {"null text", [](JsonValue& v) { v = static_cast<char*>(nullptr); }, JsonValue::STRING_TYPE, R"("")",
         R"("")"},
        {"text", [](JsonValue& v) { v = std::string("x"); }, JsonValue::STRING_TYPE, R"("x")", R"("x")"},
        {"text with NUL", [](JsonValue& v) { v = std::string("a\0b", 3); }, JsonValue::STRING_TYPE, R"("a\u0000b")",
         R"("a\u0000b")"},
        {"int", [](JsonValue& v) { v = INT32_MIN; }, JsonValue::INT32_TYPE, "-2147483648", "-2147483648"},
        {"unsigned", [](JsonValue& v) { v = UINT32_MAX; }, JsonValue::UINT32_TYPE, "4294967295", "4294967295"},
        {"int64", [](JsonValue& v) { v = std::numeric_limits<long long>::min(); }, JsonValue::INT64_TYPE,
         "-9223372036854775808", "-9223372036854775808"},
        {"uint64", [](JsonValue& v) { v = std::numeric_limits<unsigned long long>::max(); }, JsonValue::UINT64_TYPE,
         "18446744073709551615", "18446744073709551615"},
        {"double", [](JsonValue& v) { v = 0.5; }, JsonValue::DOUBLE_TYPE, "0.5", "0.500000"},
        {"whole double", [](JsonValue& v) { v = 3.0; }, JsonValue::DOUBLE_TYPE, "3", "3.000000"},
        {"huge double", [](JsonValue& v) { v = -1e22; }, JsonValue::DOUBLE_TYPE, "-1e+22",
         "-10000000000000000000000.000000"},
        {"leaf object", [](JsonValue& v) { v = parsed(R"({"a": [1, 0.1234567]})"); }, JsonValue::JSON_T_TYPE,
         R"("{"a":[1,0.123457]}")", R"({"a":[1,0.123457]})"},
        {"leaf text", [](JsonValue& v) { v = json_string("x\xc3\xa9"); }, JsonValue::JSON_T_TYPE, R"(""x\u00E9"")",
         R"("x\u00E9")"},
        {"leaf without a value", [](JsonValue& v) { v = static_cast<json_t*>(nullptr); }, JsonValue::JSON_T_TYPE,
         R"("")", "null"},
        {"unknown kind", [](JsonValue& v) { v.type = static_cast<JsonValue::Type>(11); },
         static_cast<JsonValue::Type>(11), "", ""},
        {"empty array",
         [](JsonValue& v) {
             v << 1;
             v.erase();
         },
         JsonValue::ARRAY_TYPE, "[]", "[]"},
        {"empty object",
         [](JsonValue& v) {
             v["a"];
             v.erase();
         },
         JsonValue::OBJECT_TYPE, "{}", "{}"},
        {"nested",
         [](JsonValue& v) {
             JsonValue& list = v["list"] << 1 << 2.0;
             list.append(nullptr);
             v["map"]["in\"ner"]["x"] = "\t";
             (v["empty"] << 1).erase();
         },
         JsonValue::OBJECT_TYPE, R"({"empty":[],"list":[1,2,null],"map":{"in\"ner":{"x":"\t"}}})",
         R"({"empty":[],"list":[1,2.000000,null],"map":{"in\"ner":{"x":"\t"}}})"},
    };
    for (const auto& c : cases) {
        JsonValue value;
        c.fill(value);
        EXPECT_EQ(c.type, value.type) << c.name;
        EXPECT_EQ(c.text, text_of(value)) << c.name;
        EXPECT_EQ(c.print, printed(value)) << c.name;
    }
}

// Each kind through its constructor, operator<< and operator=, at once.
TEST(JsonText, SourcesAgree) {
    JsonValue list;
    const auto check = [&list](const char* name, JsonValue::Type type, auto source) {
        JsonValue constructed(source), assigned("of another kind");
        assigned = source;
        EXPECT_EQ(&list, &(list << source)) << name;
        EXPECT_EQ(type, constructed.type) << name;
        EXPECT_EQ(type, assigned.type) << name;
        EXPECT_EQ(text_of(constructed), text_of(assigned)) << name;
    };
    check("bool", JsonValue::BOOLEAN_TYPE, true);
    check("const char*", JsonValue::STRING_TYPE, "s");
    check("std::string", JsonValue::STRING_TYPE, std::string("t"));
    check("double", JsonValue::DOUBLE_TYPE, 1.5);
    check("int", JsonValue::INT32_TYPE, -1);
    check("unsigned", JsonValue::UINT32_TYPE, 2U);
    check("long long", JsonValue::INT64_TYPE, -3LL);
    check("unsigned long long", JsonValue::UINT64_TYPE, 4ULL);
    check("json_t*", JsonValue::JSON_T_TYPE, json_true());  // static: as many references as anyone likes
    EXPECT_EQ(R"([true,"s","t",1.5,-1,2,-3,4,"true"])", text_of(list));
    EXPECT_EQ(R"([true,"s","t",1.500000,-1,2,-3,4,true])", printed(list));
    list[1] = 7;
    EXPECT_EQ(JsonValue::INT32_TYPE, list[1].type);
}

TEST(JsonText, DoublesReadLikeAnOutputStreams) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double number :
         {0.0,      -0.0,        1.5,      1e20,   0.1234567, 999999.0,      999999.5, 1e6,
          1e5,      123456789.0, -2.5,     0.0001, 0.00001,   0.00009999995, 5e-324,   1.7976931348623157e308,
          infinity, -infinity,   nan,      -nan,   12.75,     0.07,          1234.565, 9999.995,
          2.675,    100.0,       0.1 + 0.2}) {
        std::ostringstream expected;
        expected << number;
        JsonValue value(number);
        EXPECT_EQ(expected.str(), text_of(value));
    }
}

TEST(JsonText, IsAppended) {
    std::string text = "body=";
    JsonValue value;
    value["b"] = 1;
    value["a"] = "x";
    value.toString(text);
    EXPECT_EQ(R"(body={"a":"x","b":1})", text);
}

TEST(JsonText, KeysAreOrderedByUnsignedBytes) {
    JsonValue value;
    for (const char* key : {"b", "\xc3\xa9", "ab", "", "abcdefgh\xff", "a", "B", "abcdefgh", "\x7f", "abcdefgha",
                            "abcdefg", "abcdefg\xc3"}) {
        value[key] = 0;
    }
    value[std::string("a\0", 2)] = 0;
    value[std::string("\0", 1)] = 0;
    EXPECT_EQ(
        "{\"\":0,\"\\u0000\":0,\"B\":0,\"a\":0,\"a\\u0000\":0,\"ab\":0,\"abcdefg\":0,\"abcdefgh\":0,"
        "\"abcdefgha\":0,\"abcdefgh\xff\":0,\"abcdefg\xc3\":0,\"b\":0,\"\x7f\":0,\"\xc3\xa9\":0}",
        text_of(value));
}

TEST(JsonText, DeepDocumentsNeedNoStack) {
    constexpr size_t kDepth = 200000;
    auto document = std::make_unique<JsonValue>(1);
    std::string opening, closing;
    for (size_t i = 0; i < kDepth; ++i) {
        auto outer = std::make_unique<JsonValue>();
        (*outer)["k"].append(document.release());
        document = std::move(outer);
        opening += "{\"k\":[";
        closing += "]}";
    }
    const std::string expected = opening + "1" + closing;
    EXPECT_TRUE(expected == text_of(*document));
    EXPECT_TRUE(expected == printed(*document));
    (*document)["k"];  // what is replaced hangs in the document until its end
    EXPECT_EQ(R"({"k":null})", text_of(*document));
}

TEST(EscapeJson, EveryByte) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string plain(1, static_cast<char>(byte));
        std::string expected = plain;
        const std::string shorts = "\b\t\n\f\r\"\\", letters = "btnfr\"\\";
        if (const size_t at = shorts.find(plain); at != std::string::npos) {
            expected = std::string("\\") + letters[at];
        } else if (byte < 0x20) {
            char escape[7];
            (void)std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
            expected = escape;
        }
        // Alone, and at each place of a text that is long enough for eight bytes at a time.
        EXPECT_EQ(expected, harbex::escape_json(plain)) << byte;
        for (size_t before = 0; before < 20; ++before) {
            const auto framed = [before](const std::string& middle) {
                return std::string(before, 'x').append(middle).append(19 - before, '\xc3');
            };
            EXPECT_EQ(framed(expected), harbex::escape_json(framed(plain))) << byte << " at " << before;
        }
    }
}

TEST(EscapeJson, LongTexts) {
    for (const size_t size : {127U, 128U, 129U, 1023U, 1024U, 1025U, 100000U}) {
        const std::string plain(size, '/'), quotes(size, '"');
        EXPECT_EQ(plain, harbex::escape_json(plain));
        std::string expected;
        for (size_t i = 0; i < size; ++i)
            expected += "\\\"";
        EXPECT_EQ(expected, harbex::escape_json(quotes));
        JsonValue value(quotes);
        EXPECT_EQ('"' + expected + '"', text_of(value));
        EXPECT_EQ('"' + expected + '"', printed(value));
    }
}

TEST(JsonTree, IndexingByKeyIsForBuildingOnly) {
    JsonValue document;
    document["a"]["b"] = 1;
    document["a"]["c"] = 2;
    EXPECT_EQ(R"({"a":{"c":2}})", text_of(document));

    JsonValue& replaced = document["x"];
    replaced = 1;
    JsonValue& again = document["x"];
    again = 2;
    document["x"] = 3;
    replaced["still"] = "alive";
    again << "too";
    EXPECT_EQ(R"({"still":"alive"})", text_of(replaced));
    EXPECT_EQ(R"(["too"])", text_of(again));
    document.erase("x");
    document.erase();
    replaced["still"] = "here";
    EXPECT_EQ("{}", text_of(document));
    document["x"] = replaced.type;
    EXPECT_EQ(R"({"x":2})", text_of(document));
}

TEST(JsonTree, ErasingTakesWhatIsThere) {
    JsonValue list;
    list << 0 << 1 << 2;
    list.erase(3);
    list.erase("0");
    EXPECT_EQ("[0,1,2]", text_of(list));
    list.erase(1);
    EXPECT_EQ("[0,2]", text_of(list));
    list.erase(0);
    list.erase(0);
    list.erase(0);
    EXPECT_EQ("[]", text_of(list));

    JsonValue object;
    object["a"] = 1;
    object["b"] = 2;
    object.erase("missing");
    object.erase(0);
    EXPECT_EQ(R"({"a":1,"b":2})", text_of(object));
    object.erase("a");
    EXPECT_EQ(R"({"b":2})", text_of(object));

    JsonValue text("unchanged");
    text.erase();
    text.erase(0);
    text.erase("unchanged");
    EXPECT_EQ(R"("unchanged")", text_of(text));
}

TEST(JsonTree, SourcesInsideTheTreeThatGoes) {
    JsonValue value;
    value["key"] = "a text that is too long to stay inside its string object";
    JsonValue& inner = value["inner"];
    inner = "another text that is too long to stay inside its string";
    value = static_cast<const std::string*>(inner.value)->c_str();
    EXPECT_EQ(R"("another text that is too long to stay inside its string")", text_of(value));
    value = static_cast<const std::string*>(value.value)->c_str() + 38;
    EXPECT_EQ(R"("inside its string")", text_of(value));
}

TEST(JsonTree, SameKindKeepsItsStorage) {
    JsonValue number(1), text("a");
    const void *number_storage = number.value, *text_storage = text.value;
    number = 2;
    text = std::string("b");
    EXPECT_EQ(number_storage, number.value);
    EXPECT_EQ(text_storage, text.value);
    number.destroy();
    EXPECT_EQ(JsonValue::NULL_TYPE, number.type);
    EXPECT_EQ(nullptr, number.value);
}

// One jansson value with a reference of the test's own; `drop` must release exactly the document's.
TEST(JsonTree, LeavesAreReleasedOnce) {
    const struct {
        const char* name;
        std::function<void(JsonValue&, json_t*)> hold;
        std::function<void(JsonValue&)> drop;
    } cases[] = {
        {"destroyed", [](JsonValue& v, json_t* j) { v = j; }, [](JsonValue& v) { v.destroy(); }},
        {"other kind", [](JsonValue& v, json_t* j) { v = j; }, [](JsonValue& v) { v = 1; }},
        {"other leaf", [](JsonValue& v, json_t* j) { v = j; }, [](JsonValue& v) { v = json_null(); }},
        {"subtree for a text", [](JsonValue& v, json_t* j) { v["a"]["b"] = j; }, [](JsonValue& v) { v = "x"; }},
        {"object for an array", [](JsonValue& v, json_t* j) { v["a"] = j; }, [](JsonValue& v) { v << 1; }},
        {"array for an object", [](JsonValue& v, json_t* j) { v << 1 << j; }, [](JsonValue& v) { v["a"]; }},
        {"array for an object, by a key", [](JsonValue& v, json_t* j) { v.append(new JsonValue(j)); },
         [](JsonValue& v) { v["a"]["b"]; }},
        {"object for an array, appended", [](JsonValue& v, json_t* j) { v["a"] = j; },
         [](JsonValue& v) { v.append(nullptr); }},
        {"erased member", [](JsonValue& v, json_t* j) { v["a"] << j; }, [](JsonValue& v) { v.erase("a"); }},
        {"erased item", [](JsonValue& v, json_t* j) { v << 1 << j; }, [](JsonValue& v) { v.erase(1); }},
        {"all members erased", [](JsonValue& v, json_t* j) { v["a"]["b"] = j; }, [](JsonValue& v) { v.erase(); }},
        {"all items erased", [](JsonValue& v, json_t* j) { v << 1 << j; }, [](JsonValue& v) { v.erase(); }},
        {"replaced, then all destroyed",
         [](JsonValue& v, json_t* j) {
             v["a"]["b"] = j;
             v["a"] = 1;
             v.erase();
         },
         [](JsonValue& v) { v.destroy(); }},
    };
    for (const auto& c : cases) {
        const JsonOwner leaf(json_pack("{s:i}", "a", 1));
        JsonValue value;
        c.hold(value, json_incref(leaf.get()));
        EXPECT_EQ(2U, leaf->refcount) << c.name;
        c.drop(value);
        EXPECT_EQ(1U, leaf->refcount) << c.name;
    }
    const size_t static_mark = json_true()->refcount;
    { JsonValue value(json_true()); }
    EXPECT_EQ(static_mark, json_true()->refcount);
}

TEST(JsonTree, TheSameLeafAgain) {
    const JsonOwner leaf(json_object());
    JsonValue value(json_incref(leaf.get()));
    value = json_incref(leaf.get());
    EXPECT_EQ(2U, leaf->refcount);
}

}  // namespace
