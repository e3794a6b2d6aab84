#include "redaction.h"

#include <algorithm>
#include <vector>

namespace harbex::tools {
namespace {

constexpr const char* kHidden = "…";
constexpr size_t kLongestNumber = 12;
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kPunctuation = ".,:;()[]{}'\"=";

constexpr std::string_view kLevels[] = {"DEBUG", "INFO", "WARN", "ERROR", "CRITICAL", "WARNING", "FATAL"};

// Settings whose value, as far as it is a number or a word of the sources, tells nothing about the user.
constexpr std::string_view kShownKeys[] = {
    "REGION",
    "bid_token_status",
    "corvane_site",
    "CORVANE_TOKEN_LAST_SEEN",
    "router_region_table_id",
    "IsChinaRegion",
    "feature_intro",
    "feature_tip",
    "supernode_region_table_id",
    "Enable",
    "InsecureCurl",
    "Install_Path",
    "Name",
    "Version",
};
// Known, too: that there is one may be told, not what it is.
constexpr std::string_view kHiddenKeys[] = {
    "VELLUM_TOKEN",       "VELLUM_REFRESH_TOKEN", "DISPLAY_NAME",    "EMAILS",        "CORVANE_ORG_ID",
    "CORVANE_ORG_NAME",   "CORVANE_REGION_ID",    "CORVANE_SITE_ID", "CORVANE_TOKEN", "CORVANE_REGION_NAME",
    "corvane_serial_num", "virtual_ip",           "DEV_ID",          "DEV_TOKEN",
};
constexpr std::string_view kSections[] = {"[Brindle ID Service]", "[Join Corvane]",  "[Debug]",
                                          "[Feature Guide]",      "[IsChinaRegion]", "[Harbex]"};

template <typename Table>
bool holds(const Table& table, std::string_view text) {
    return std::find(std::begin(table), std::end(table), text) != std::end(table);
}

bool is_known_word(std::string_view word) {
    static const std::vector<std::string_view> words = [] {
        std::vector<std::string_view> found;
        for (std::string_view rest = kKnownWords; !rest.empty(); rest.remove_prefix(rest.find('\n') + 1))
            found.push_back(rest.substr(0, rest.find('\n')));
        std::sort(found.begin(), found.end());
        return found;
    }();
    return std::binary_search(words.begin(), words.end(), word);
}

bool is_number(std::string_view word) {
    if (word.starts_with('-')) word.remove_prefix(1);
    return !word.empty() && word.size() <= kLongestNumber &&
           word.find_first_not_of(kDigits) == std::string_view::npos;
}

// The word without the punctuation around it.
std::string_view core_of(std::string_view word) {
    const size_t first = word.find_first_not_of(kPunctuation);
    if (first == std::string_view::npos) return {};
    return word.substr(first, word.find_last_not_of(kPunctuation) - first + 1);
}

std::string_view take_word(std::string_view& text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return text = {};
    text.remove_prefix(first);
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return word;
}

std::string redacted_words(std::string_view text) {
    std::string shown;
    while (true) {
        const std::string_view word = take_word(text);
        if (word.empty()) return shown;
        const std::string_view core = core_of(word);
        const bool may_show = core.empty() || is_known_word(core) || is_number(core);
        // A row of hidden words is one.
        if (!may_show && shown.ends_with(kHidden)) continue;
        if (!shown.empty()) shown += ' ';
        shown += may_show ? word : std::string_view(kHidden);
    }
}

// Whether `text` reads as "2026-11-22 03:00:00".
bool is_time(std::string_view text) {
    constexpr std::string_view kShape = "0000-00-00 00:00:00";
    if (text.size() != kShape.size()) return false;
    for (size_t index = 0; index < text.size(); ++index) {
        const bool is_digit = kDigits.find(text[index]) != std::string_view::npos;
        if (kShape[index] == '0' ? !is_digit : text[index] != kShape[index]) return false;
    }
    return true;
}

constexpr size_t kTimeLength = 19;

// "[TIME][LEVEL] MESSAGE"
std::string redacted_service_line(std::string_view line) {
    const std::string_view time = line.substr(1, kTimeLength);
    line.remove_prefix(std::min(line.size(), kTimeLength + 2));
    const size_t end = line.find(']');
    if (!is_time(time) || !line.starts_with('[') || end == std::string_view::npos) return {};
    const std::string_view level = line.substr(1, end - 1);
    if (!holds(kLevels, level)) return {};
    return "[" + std::string(time) + "][" + std::string(level) + "] " + redacted_words(line.substr(end + 1));
}

// "TIME PID [LEVEL] FILE [LINE] FUNCTION:MESSAGE"
std::string redacted_trace_line(std::string_view line) {
    const std::string_view time = line.substr(0, kTimeLength);
    if (!is_time(time)) return {};
    line.remove_prefix(kTimeLength);
    const std::string_view pid = take_word(line);
    const std::string_view level = core_of(take_word(line));
    const std::string_view file = take_word(line);
    const std::string_view number = take_word(line);
    if (!is_number(pid) || !holds(kLevels, level)) return {};
    const size_t function = std::min(line.find(':'), line.size());
    const std::string_view message = line.substr(std::min(function + 1, line.size()));
    return std::string(time) + " " + std::string(pid) + " [" + std::string(level) + "] " +
           (is_known_word(file) ? std::string(file) : kHidden) + " " +
           (is_number(core_of(number)) ? std::string(number) : kHidden) + " " + redacted_words(message);
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace

std::string redacted_log_line(std::string_view line) {
    return line.starts_with('[') ? redacted_service_line(line) : redacted_trace_line(line);
}

std::string redacted_setting(std::string_view line) {
    line = trimmed(line);
    if (line.empty()) return {};
    if (line.starts_with('[')) return holds(kSections, line) ? std::string(line) : "[…]";
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) return kHidden;
    const std::string_view key = trimmed(line.substr(0, equals));
    const std::string_view value = trimmed(line.substr(equals + 1));
    if (holds(kShownKeys, key)) return std::string(key) + " = " + redacted_words(value);
    if (!holds(kHiddenKeys, key)) return kHidden;
    return std::string(key) + " = " + (value.empty() ? "" : kHidden);
}

}  // namespace harbex::tools
