#include "common/json.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <limits>
#include <sstream>

#include "common/json_owner.h"
#include "support/rows.h"

namespace {

using harbex::JsonOwner;
using harbex::test::print_text;

std::string text_of(JsonValue& value) {
    std::string text;
    value.toString(text);
    return text;
}

TEST(JsonText, EachKindInBothForms) {
    using V = JsonValue;
    const struct {
        std::function<void(V&)> fill;
        V::Type type;
        std::string text, print;
    } cases[] = {
        {[](V& v) { v = UINT32_MAX; }, V::UINT32_TYPE, "4294967295", "4294967295"},
        {[](V& v) { v = ULLONG_MAX; }, V::UINT64_TYPE, "18446744073709551615", "18446744073709551615"},
        {[](V& v) { v = -1e22; }, V::DOUBLE_TYPE, "-1e+22", "-10000000000000000000000.000000"},
        {[](V& v) { v = json_pack("{s:[i,f]}", "a", 1, 0.1234567); }, V::JSON_T_TYPE, R"("{"a":[1,0.123457]}")",
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
        EXPECT_EQ(c.print, print_text(value));
    }
}

TEST(JsonText, DoublesReadLikeAnOutputStreams) {
    using Limits = std::numeric_limits<double>;
    for (const double number :
         {-0.0, 12.75, -2.5, -0.07, 100.0, 2.675, 1234.565, 9999.995, 999999.5, 1e20, 1e-4, 9.999995e-5,
          Limits::denorm_min(), Limits::max(), -Limits::infinity(), Limits::quiet_NaN(), -Limits::quiet_NaN()}) {
        std::ostringstream expected;
        expected << number;
        JsonValue value(number);
        EXPECT_EQ(expected.str(), text_of(value));
    }
}

TEST(EscapeJson, EveryByte) {
    for (int byte = 0; byte < 0x80; ++byte) {
        const std::string plain(1, static_cast<char>(byte)), frame(20, 'x');
        const std::string quoted =
            harbex::json_dump_text(JsonOwner(json_stringn(plain.data(), 1)).get(), JSON_ENCODE_ANY);
        std::string expected = quoted.substr(1, quoted.size() - 2);
        for (char& c : expected)
            if (byte < 0x20) c = static_cast<char>(tolower(c));
        EXPECT_EQ(expected, harbex::escape_json(plain)) << byte;
        EXPECT_EQ(frame + expected + frame, harbex::escape_json(frame + plain + frame)) << byte;
    }
    EXPECT_EQ("\xff\x80", harbex::escape_json("\xff\x80"));
}

TEST(JsonTree, LeavesAreReleasedOnce) {
    const JsonOwner leaf(json_pack("{s:i}", "a", 1));
    void (*const steps[])(JsonValue&, json_t*) = {
        [](JsonValue& v, json_t* j) { v = json_incref(j), v = json_incref(j); },
        [](JsonValue& v, json_t*) { v.destroy(); },
        [](JsonValue& v, json_t* j) { v["a"] << json_incref(j); },
        [](JsonValue& v, json_t*) { v.erase("a"); },
        [](JsonValue& v, json_t* j) { v["a"]["b"] = json_incref(j), v["a"] = 1, v.erase(); },
        [](JsonValue& v, json_t*) { v.destroy(); },
    };
    JsonValue value;
    for (size_t i = 0; i < std::size(steps); ++i) {
        steps[i](value, leaf.get());
        EXPECT_EQ(2U - i % 2, leaf->refcount) << i;
    }
}

}  // namespace
