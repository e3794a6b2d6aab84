#include "log_stream.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string_view>

namespace console {
namespace {

constexpr size_t kMostLines = 200;
constexpr size_t kLongestWord = 19;  // no word of the logs' own with a digit in it is longer
constexpr size_t kShown = 8;
constexpr off_t kMostBytes = 256 * 1024;

bool is_of_a_word(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::string_view("+=_-.").find(c) != std::string::npos;
}

}  // namespace

std::string without_tokens(const std::string& line) {
    std::string shown;
    for (auto at = line.begin(); at != line.end();) {
        const auto end = std::find_if_not(at, line.end(), is_of_a_word);
        const std::string word(at, end);
        const bool secret = word.size() > kLongestWord && word.find_first_of("0123456789") != std::string::npos;
        shown += secret ? word.substr(0, kShown) + "…" : word;
        at = end;
        if (at != line.end()) shown += *at++;
    }
    return shown;
}

LogFollower::LogFollower(std::string path) : path_(std::move(path)) {
    struct stat now;
    if (stat(path_.c_str(), &now) != 0) return;
    inode_ = now.st_ino;
    read_up_to_ = now.st_size;
}

std::vector<std::string> LogFollower::new_lines() {
    struct stat now;
    if (stat(path_.c_str(), &now) != 0) return {};
    if (now.st_ino != inode_ || now.st_size < read_up_to_) read_up_to_ = 0;
    inode_ = now.st_ino;
    read_up_to_ = std::max(read_up_to_, now.st_size - kMostBytes);
    std::ifstream file(path_, std::ios::binary);
    if (!file.seekg(read_up_to_)) return {};
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(file, line)) {
        read_up_to_ += static_cast<off_t>(line.size());
        unfinished_ += line;
        if (file.eof()) break;  // without its line end yet
        read_up_to_++;
        lines.push_back(without_tokens(unfinished_));
        unfinished_.clear();
    }
    if (lines.size() > kMostLines) lines.erase(lines.begin(), lines.end() - kMostLines);
    return lines;
}

}  // namespace console
