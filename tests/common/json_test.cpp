#include "common/json.h"

#include <gtest/gtest.h>

#include <climits>
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
    using V = JsonValue;
    const struct {
        std::function<void(V&)> fill;
        V::Type type;
        std::string text, print;
    } cases[] = {
        {[](V& v) { v = false; }, V::BOOLEAN_TYPE, "false", "false"},
        {[](V& v) { v = std::string("a\0b", 3); }, V::STRING_TYPE, R"("a\u0000b")", R"("a\u0000b")"},
        {[](V& v) { v = INT32_MIN; }, V::INT32_TYPE, "-2147483648", "-2147483648"},
        {[](V& v) { v = UINT32_MAX; }, V::UINT32_TYPE, "4294967295", "4294967295"},
        {[](V& v) { v = LLONG_MIN; }, V::INT64_TYPE, "-9223372036854775808", "-9223372036854775808"},
        {[](V& v) { v = ULLONG_MAX; }, V::UINT64_TYPE, "18446744073709551615", "18446744073709551615"},
        {[](V& v) { v = -1e22; }, V::DOUBLE_TYPE, "-1e+22", "-10000000000000000000000.000000"},
        {[](V& v) { v = parsed(R"({"a": [1, 0.1234567]})"); }, V::JSON_T_TYPE, R"("{"a":[1,0.123457]}")",
         R"({"a":[1,0.123457]})"},
        {[](V& v) { v = static_cast<json_t*>(nullptr); }, V::JSON_T_TYPE, R"("")", "null"},
        {[](V& v) {
             V& list = v["list"] << 1 << 2.0;
             list.append(nullptr);
             v["map"]["in\"ner"]["x"] = "\t";
             (v["empty"] << 1).erase();
         },
         V::OBJECT_TYPE, R"({"empty":[],"list":[1,2,null],"map":{"in\"ner":{"x":"\t"}}})",
         R"({"empty":[],"list":[1,2.000000,null],"map":{"in\"ner":{"x":"\t"}}})"},
    };
    for (const auto& c : cases) {
        V value;
        c.fill(value);
        EXPECT_EQ(c.type, value.type) << c.text;
        EXPECT_EQ(c.text, text_of(value));
        EXPECT_EQ(c.print, printed(value));
    }
}

TEST(JsonText, DoublesReadLikeAnOutputStreams) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double numbers[] = {
        0.0,      -0.0,      12.75,    -2.5, 100.0, 0.07,        2.675,  1234.565,
        9999.995, 1e5,       999999.5, 1e20, 1e-4,  9.999995e-5, 5e-324, 1.7976931348623157e308,
        infinity, -infinity, nan,      -nan,
    };
    for (const double number : numbers) {
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

// One jansson value with a reference of the test's own; `drop` must release exactly the document's.
TEST(JsonTree, LeavesAreReleasedOnce) {
    const struct {
        const char* name;
        std::function<void(JsonValue&, json_t*)> hold;
        std::function<void(JsonValue&)> drop;
    } cases[] = {
        {"the same again",
         [](JsonValue& v, json_t* j) {
             v = j;
             v = json_incref(j);
         },
         [](JsonValue& v) { v.destroy(); }},
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
}

}  // namespace
