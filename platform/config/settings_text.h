// The text of a sectioned settings file: `[section]` headers, `key = value` lines, comment lines with ';' or '#' in
// front. Names are case-sensitive, values raw (quotes, ';' and '#' inside are part of them), blanks around names and
// values do not count, a line that is none of the three is passed over. Of a setting that stands twice in a section,
// the last counts. Section "" holds the keys before the first header. A byte order mark in front is no part of the
// text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace settings {

// The value of `key` in `section`; nothing when there is none.
std::optional<std::string> find(std::string_view text, const std::string& section, const std::string& key);

// Makes `value`, without the blanks around it, the value of `key` in `section` of `text`, creating what is missing:
// `find` then answers exactly that, and every byte outside that value or the new lines stays. Null when done;
// otherwise why it cannot be, with `text` untouched: what would not be read back the same (a line break, a key with
// '=', …) is refused.
const char* set(std::string& text, const std::string& section, const std::string& key, const std::string& value);

}  // namespace settings
