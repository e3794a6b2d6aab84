// What is set is read back; everything else in the text stays. The input: section, key and value in a line each, then
// the text.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "settings_text.h"

namespace {

using Names = std::vector<std::pair<std::string, std::string>>;

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

// Up to `end`, which is taken away, too.
std::string take(std::string_view& rest, char end) {
    const size_t length = std::min(rest.find(end), rest.size());
    std::string taken(rest.substr(0, length));
    rest.remove_prefix(std::min(length + 1, rest.size()));
    return taken;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines(1);
    for (const char c : text) {
        if (c == '\n' || c == '\r') {
            lines.emplace_back();
        } else {
            lines.back() += c;
        }
    }
    return lines;
}

std::string trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == text.npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

bool is_comment(const std::string& line) {
    const std::string text = trimmed(line);
    return !text.empty() && (text[0] == ';' || text[0] == '#');
}

// Whatever could be a setting of these lines; what is none is missing before and after.
Names candidates(const std::vector<std::string>& lines) {
    Names names;
    std::string section;
    for (const std::string& line : lines) {
        const size_t equals = line.find('=');
        if (equals != line.npos) {
            names.emplace_back(section, trimmed(std::string_view(line).substr(0, equals)));
            names.emplace_back("", names.back().second);
        }
        const size_t open = line.find('[');
        const size_t close = line.find(']', open);
        if (open != line.npos && close != line.npos) {
            section = trimmed(std::string_view(line).substr(open + 1, close - open - 1));
        }
    }
    return names;
}

// At most one old line may be another now, and it must have been none of the comments.
void require_lines_stay(const std::vector<std::string>& before, const std::vector<std::string>& after) {
    const auto front = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const auto back = std::mismatch(before.rbegin(), std::make_reverse_iterator(front.first), after.rbegin(),
                                    std::make_reverse_iterator(front.second));
    const auto changed_end = back.first.base();
    require(changed_end - front.first <= 1, "one line changes at most");
    require(std::none_of(front.first, changed_end, is_comment), "a comment stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string input(size, '\0');
    if (size > 0) memcpy(input.data(), data, size);
    std::string_view rest = input;
    const std::string section = take(rest, '\n');
    const std::string key = take(rest, '\n');
    const std::string value = take(rest, '\n');
    const std::string before(rest);

    std::string after = before;
    const std::optional<std::string> old = settings::find(before, section, key);
    if (settings::set(after, section, key, value) != nullptr) {
        require(after == before, "what is refused changes nothing");
        return 0;
    }
    require(settings::find(after, section, key) == trimmed(value), "what is set is read back");
    const std::vector<std::string> lines = lines_of(before);
    for (const auto& [other_section, other_key] : candidates(lines)) {
        if (other_section == section && other_key == key) continue;
        require(settings::find(after, other_section, other_key) == settings::find(before, other_section, other_key),
                "another setting stays");
    }
    require_lines_stay(lines, lines_of(after));
    require(after.size() + (old ? old->size() : 0) >= before.size(), "no byte is lost");

    const std::string once = after;
    require(settings::set(after, section, key, value) == nullptr && after == once,
            "setting it again changes nothing");
    return 0;
}
