#include "settings_text.h"

#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

namespace settings {
namespace {

using Ini = CSimpleIniCaseA;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// Stands before every text that is parsed. It changes no meaning (section "" is open at the start anyway), but gives
// that section a header, and shows where in memory the parser's copy begins.
constexpr std::string_view kAnchor = "[]\n";

size_t mark_length(std::string_view text) {
    return text.substr(0, kByteOrderMark.size()) == kByteOrderMark ? kByteOrderMark.size() : 0;
}

// Its three texts as they stand in the parser's copy.
struct Setting {
    const char* section;
    const char* key;
    const char* value;
};

// A parsed text. The parser answers with pointers into its own copy of it, so each of them tells where in the text a
// name or a value stands. Its writer is not used: it drops comments at the end, unknown lines, blank lines and line
// ends.
class Parsed {
public:
    explicit Parsed(std::string_view text) : text_(std::string(kAnchor).append(text.substr(mark_length(text)))) {
        if (ini_.LoadData(text_) < 0) throw std::bad_alloc();
    }

    // The anchor and the text without its mark: what places count in.
    const std::string& text() const { return text_; }

    const char* value(const char* section, const char* key) const { return ini_.GetValue(section, key, nullptr); }

    // The section's name in its first header; null when there is no such section.
    const char* section(const std::string& name) const {
        for (const auto& entry : sections()) {
            if (name == entry.pItem) return entry.pItem;
        }
        return nullptr;
    }

    size_t place(const char* parsed) const {
        return static_cast<size_t>(parsed - section("")) + 1;  // the anchor's name stands behind its bracket
    }

    std::vector<Setting> settings() const {
        std::vector<Setting> all;
        for (const auto& entry : sections()) {
            const Ini::TKeyVal* keys = ini_.GetSection(entry.pItem);
            if (keys == nullptr) continue;
            for (const auto& [key, value] : *keys)
                all.push_back({entry.pItem, key.pItem, value});
        }
        return all;
    }

private:
    Ini::TNamesDepend sections() const {
        Ini::TNamesDepend names;
        ini_.GetAllSections(names);
        return names;
    }

    std::string text_;
    Ini ini_{false, false, false};  // no conversion, no key with several values, no value over several lines
};

constexpr std::string_view kBlanks = " \t";

bool has_outer_blank(const std::string& text) {
    return !text.empty() && (kBlanks.find(text.front()) != kBlanks.npos || kBlanks.find(text.back()) != kBlanks.npos);
}

std::string without_outer_blanks(const std::string& text) {
    const size_t first = text.find_first_not_of(kBlanks);
    return first == text.npos ? std::string() : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Why these cannot stand in a settings file, or null.
const char* refusal(const std::string& section, const std::string& key, const std::string& value) {
    for (const std::string* part : {&section, &key, &value}) {
        if (part->find_first_of(std::string_view("\r\n\0", 3)) != part->npos) return "a line break cannot be stored";
    }
    if (has_outer_blank(section) || has_outer_blank(key)) {
        return "a section or key with blanks around it would not be found again";
    }
    if (section.find(']') != section.npos) return "a section's name cannot hold ']'";
    if (key.empty()) return "a key cannot be empty";
    if (key.find('=') != key.npos) return "a key cannot hold '='";
    if (std::string_view(";#[").find(key.front()) != std::string_view::npos) {
        return "a key cannot start with ';', '#' or '['";
    }
    return nullptr;
}

// Puts `line` behind the line of `place`, which may be the last one and lack its end.
void insert_line(std::string& text, size_t place, const std::string& line, const std::string& newline) {
    const size_t end = text.find_first_of("\r\n", place);
    if (end == text.npos) {
        text += newline + line;
    } else {
        text.insert(end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1), line);
    }
}

void append_section(std::string& text, const std::string& section, const std::string& line,
                    const std::string& newline) {
    if (text.size() > kAnchor.size()) {
        if (text.back() != '\n' && text.back() != '\r') text += newline;
        text += newline;
    }
    text += "[" + section + "]" + newline + line;
}

// The parsed text with the one setting changed or added, still with its anchor.
std::string with_setting(const Parsed& parsed, const std::string& section, const std::string& key,
                         const std::string& value) {
    std::string text = parsed.text();
    if (const char* old = parsed.value(section.c_str(), key.c_str())) {
        return text.replace(parsed.place(old), strlen(old), value);
    }
    // The file's own kind of line end, as its last line shows it.
    const std::string newline = text[text.rfind('\n') - 1] == '\r' ? "\r\n" : "\n";
    const std::string line = key + " = " + value + newline;
    const char* last = parsed.section(section);
    if (last == nullptr) {
        append_section(text, section, line, newline);
        return text;
    }
    for (const Setting& setting : parsed.settings()) {
        if (section == setting.section) last = std::max(last, setting.value);
    }
    insert_line(text, parsed.place(last), line, newline);
    return text;
}

// Whether `after` says what `before` says, but for the one setting.
bool differ_only_by(const Parsed& before, const Parsed& after, const Setting& changed) {
    const size_t added = before.value(changed.section, changed.key) == nullptr ? 1 : 0;
    if (after.value(changed.section, changed.key) == nullptr) return false;
    const std::vector<Setting> settings = after.settings();
    if (settings.size() != before.settings().size() + added) return false;
    return std::all_of(settings.begin(), settings.end(), [&](const Setting& now) {
        const bool is_changed = strcmp(now.section, changed.section) == 0 && strcmp(now.key, changed.key) == 0;
        const char* expected = is_changed ? changed.value : before.value(now.section, now.key);
        return expected != nullptr && strcmp(now.value, expected) == 0;
    });
}

}  // namespace

std::optional<std::string> find(std::string_view text, const std::string& section, const std::string& key) {
    const Parsed parsed(text);
    const char* value = parsed.value(section.c_str(), key.c_str());
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

const char* set(std::string& text, const std::string& section, const std::string& key,
                const std::string& given_value) {
    const std::string value = without_outer_blanks(given_value);
    if (const char* why = refusal(section, key, value)) return why;
    if (text.find('\0') != text.npos) return "it holds a NUL byte; it is no settings file";
    const Parsed before(text);
    std::string changed = text.substr(0, mark_length(text));
    changed.append(with_setting(before, section, key, value), kAnchor.size());
    // Read back before anything is kept: a broken line nearby can give the new one another meaning.
    if (!differ_only_by(before, Parsed(changed), {section.c_str(), key.c_str(), value.c_str()})) {
        return "the setting would not be read back the same";
    }
    text.swap(changed);
    return nullptr;
}

}  // namespace settings
