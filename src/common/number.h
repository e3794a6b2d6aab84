// Decimal numbers from texts of settings files, tokens and command lines, and as texts.
// The library's own.
#pragma once

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace harbex::system {

// The whole of `text` as a decimal number, a minus sign allowed; nothing for anything else, a number out of range
// included.
inline std::optional<int64_t> parse_int64(std::string_view text) {
    int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

// The number that `text` begins with, as strtoll reads it: leading blanks, a sign, digits up to the first other
// character. 0 when there are none; what is out of range becomes the nearest that there is.
inline int64_t leading_int64(const std::string& text) {
    return strtoll(text.c_str(), nullptr, 10);
}

// Six significant digits, the shorter of fixed and exponent form: what a text stream writes by default.
inline std::string decimal_text(double value) {
    char text[32] = "";
    snprintf(text, sizeof text, "%g", value);
    return text;
}

}  // namespace harbex::system
