// What is set is read back; every other byte stays. The input: section, key and value in a line each, then the text.
#include "settings_text.h"

#include <algorithm>

#include "fuzz.h"

namespace {

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

void fuzz::one(std::string_view input) {
    const std::string section = take(input, '\n'), key = take(input, '\n'), value = take(input, '\n');
    const std::string before(input);
    std::string after = before;
    const std::string old = settings::find(before, section, key).value_or("");
    if (settings::set(after, section, key, value) != nullptr) {
        require(after == before, "what is refused changes nothing");
        return;
    }
    require(settings::find(after, section, key) == trimmed(value), "what is set is read back");
    // What differs is one place: the old value there, the new one or new lines here.
    const auto front = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const auto back = std::mismatch(before.rbegin(), std::make_reverse_iterator(front.first), after.rbegin(),
                                    std::make_reverse_iterator(front.second));
    const std::string lost(front.first, back.first.base());
    require(old.find(lost) != old.npos, "every byte but the old value's stays");
    const std::string once = after;
    require(settings::set(after, section, key, value) == nullptr && after == once, "again changes nothing");
}
