// The daemon's log, read back.
#pragma once

#include <ctime>
#include <sstream>
#include <string>
#include <vector>

namespace harbex::test {

// "[2024-05-01 12:00:00][DEBUG] message" as "DEBUG message"; a line of another shape as it is.
inline std::string without_time(const std::string& line) {
    constexpr size_t kHead = sizeof "[2024-05-01 12:00:00][" - 1;
    struct tm time {};
    const char* level = strptime(line.c_str(), "[%Y-%m-%d %H:%M:%S][", &time);
    if (level == nullptr || level != line.c_str() + kHead) return line;
    const size_t end = line.find("] ", kHead);
    return end == std::string::npos ? line : line.substr(kHead, end - kHead) + line.substr(end + 1);
}

// The lines of a log, each as "LEVEL message".
inline std::vector<std::string> log_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(without_time(line));
    return lines;
}

}  // namespace harbex::test
