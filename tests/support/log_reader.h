#pragma once

#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "common/trace_log.h"
#include "support/files.h"

namespace harbex::test {

// The lines of either log, each as "LEVEL message"; a line of another shape as it is.
inline std::vector<std::string> log_lines(const std::string& text) {
    static const std::regex prefix(
        R"(^(?:\[[-0-9]{10} [:0-9]{8}\]\[(\w+)\] |\S+ \S+ \d+ \[(\w+)\] \S+ \[\d+\] \w+:))");
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        const std::string head = line.substr(0, 200);
        const bool known = std::regex_search(head, match, prefix);
        lines.push_back(known ? match.str(1) + match.str(2) + " " + line.substr(match.str().size()) : line);
    }
    return lines;
}

// What a log gained since the reader was made or last asked.
class LogReader {
public:
    explicit LogReader(std::string path = __log_file__) : path_(std::move(path)) { (void)lines(); }

    std::vector<std::string> lines() {
        const std::string text = read_text(path_);
        if (text.size() < position_) position_ = 0;  // rotated
        const size_t begin = std::exchange(position_, text.size());
        return log_lines(text.substr(begin));
    }

    // The new lines of one level, or of all levels with their names, joined by line breaks.
    std::string text(const std::string& level = "") { return of_level(lines(), level); }
    static std::string of_level(const std::vector<std::string>& lines, const std::string& level) {
        const std::string head = level.empty() ? "" : level + " ";
        std::string found;
        for (const std::string& line : lines)
            if (line.starts_with(head)) found += (found.empty() ? "" : "\n") + line.substr(head.size());
        return found;
    }

private:
    std::string path_;
    size_t position_ = 0;
};

}  // namespace harbex::test
