#include "common/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

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

TEST(JsonText, EachKindInBothForms) {
    const struct {
        const char* name;
        std::function<void(JsonValue&)> fill;
        JsonValue::Type type;
        const char *text, *print;
    } cases[] = {
        {"null", [](JsonValue&) {}, JsonValue::NULL_TYPE, "null", "null"},
        {"false", [](JsonValue& v) { v = false; }, JsonValue::BOOLEAN_TYPE, "false", "false"},
        {"text with NUL", [](JsonValue& v) { v = std::string("a\0b", 3); }, JsonValue::STRING_TYPE, R"("a\u0000b")",
         R"("a\u0000b")"},
        {"int", [](JsonValue& v) { v = INT32_MIN; }, JsonValue::INT32_TYPE, "-2147483648", "-2147483648"},
        {"unsigned", [](JsonValue& v) { v = UINT32_MAX; }, JsonValue::UINT32_TYPE, "4294967295", "4294967295"},
        {"int64", [](JsonValue& v) { v = std::numeric_limits<long long>::min(); }, JsonValue::INT64_TYPE,
         "-9223372036854775808", "-9223372036854775808"},
        {"uint64", [](JsonValue& v) { v = std::numeric_limits<unsigned long long>::max(); }, JsonValue::UINT64_TYPE,
         "18446744073709551615", "18446744073709551615"},
        {"double", [](JsonValue& v) { v = 0.5; }, JsonValue::DOUBLE_TYPE, "0.5", "0.500000"},
        {"huge double", [](JsonValue& v) { v = -1e22; }, JsonValue::DOUBLE_TYPE, "-1e+22",
         "-10000000000000000000000.000000"},
        {"leaf object", [](JsonValue& v) { v = parsed(R"({"a": [1, 0.1234567]})"); }, JsonValue::JSON_T_TYPE,
         R"("{"a":[1,0.123457]}")", R"({"a":[1,0.123457]})"},
        {"leaf without a value", [](JsonValue& v) { v = static_cast<json_t*>(nullptr); }, JsonValue::JSON_T_TYPE,
         R"("")", "null"},
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

TEST(JsonTree, IndexingByKeyIsForBuildingOnly) {
    JsonValue document;
    document["a"]["b"] = 1;
    document["a"]["c"] = 2;
    EXPECT_EQ(R"({"a":{"c":2}})", text_of(document));
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
        {"array for an object", [](JsonValue& v, json_t* j) { v << 1 << j; }, [](JsonValue& v) { v["a"]; }},
        {"erased member", [](JsonValue& v, json_t* j) { v["a"] << j; }, [](JsonValue& v) { v.erase("a"); }},
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
