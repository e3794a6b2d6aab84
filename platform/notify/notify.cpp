// The notification centre's sender:
//   notify send -A APPLICATION -C CATEGORY -M MESSAGE_ID -l LEVEL [-t TYPE] TEMPLATE [VALUE …]
// puts the values in the places {0}, {1}, … of the template and appends one JSON line to the notification log.
#include <charconv>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json_lines.h"

namespace {

constexpr const char* kNotificationLog = "/var/log/notification.log";
constexpr int kUsage = 64;

struct Message {
    std::map<char, std::string> options;
    std::string text;
    std::vector<std::string> values;
};

int misused(const char* why) {
    std::fprintf(
        stderr,
        "notify: %s\nusage: notify send -A APPLICATION -C CATEGORY -M ID -l LEVEL [-t TYPE] TEMPLATE [VALUE ...]\n",
        why);
    return kUsage;
}

// Replaces every {N} that has a value; what has none stays as it is, and values are not looked into again.
std::string fill(std::string_view text, const std::vector<std::string>& values) {
    std::string filled;
    while (!text.empty()) {
        size_t index = 0;
        const char* end = text.data() + text.size();
        if (text.front() == '{') {
            const auto [stop, error] = std::from_chars(text.data() + 1, end, index);
            if (error == std::errc() && stop != end && *stop == '}' && index < values.size()) {
                filled += values[index];
                text.remove_prefix(static_cast<size_t>(stop + 1 - text.data()));
                continue;
            }
        }
        filled += text.front();
        text.remove_prefix(1);
    }
    return filled;
}

const char* parse(int argc, char** argv, Message& message) {
    constexpr std::string_view kOptions = "ACMlt";
    int next = 2;
    if (argc < 2 || std::string_view(argv[1]) != "send") return "the only action is send";
    for (; next < argc; next += 2) {
        const std::string_view word = argv[next];
        if (word.size() != 2 || word[0] != '-') break;
        if (kOptions.find(word[1]) == std::string_view::npos) return "unknown option";
        if (next + 1 == argc) return "an option lacks its value";
        message.options[word[1]] = argv[next + 1];
    }
    for (const char option : std::string_view("ACMl")) {
        if (message.options[option].empty()) return "-A, -C, -M and -l are needed";
    }
    if (next == argc) return "the template is missing";
    message.text = argv[next];
    message.values.assign(argv + next + 1, argv + argc);
    return nullptr;
}

int record(const Message& message) {
    const auto option = [&](char name) {
        const auto found = message.options.find(name);
        return nas::json_text(found == message.options.end() ? "" : found->second);
    };
    nas::Json line(json_object());
    json_object_set_new(line.get(), "time", nas::json_text(nas::local_time_text()).release());
    json_object_set_new(line.get(), "application", option('A').release());
    json_object_set_new(line.get(), "category", option('C').release());
    json_object_set_new(line.get(), "message_id", option('M').release());
    json_object_set_new(line.get(), "level", option('l').release());
    json_object_set_new(line.get(), "type", option('t').release());
    json_object_set_new(line.get(), "message", nas::json_text(fill(message.text, message.values)).release());
    if (nas::append_json_line(kNotificationLog, std::move(line)) == 0) return 0;
    std::perror("notify: cannot append to /var/log/notification.log");
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Message message;
        if (const char* why = parse(argc, argv, message)) return misused(why);
        return record(message);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "notify: %s\n", error.what());
        return 1;
    }
}
