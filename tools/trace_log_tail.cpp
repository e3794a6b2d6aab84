#include "trace_log_tail.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <string_view>

#include "common/number.h"
#include "common/trace_log.h"

namespace harbex::tools {
namespace {

constexpr std::string_view kNoAnswer = "[easycurl] curl_easy_perform failed with error code: ";
constexpr std::string_view kBadAnswer = "[easycurl] HTTP request failed with status code: ";
constexpr int64_t kMostRead = int64_t{1} << 20;

// The number behind `words` in `line`.
std::optional<int> number_behind(std::string_view line, std::string_view words) {
    const size_t found = line.find(words);
    if (found == std::string_view::npos) return std::nullopt;
    line.remove_prefix(found + words.size());
    const auto number = system::parse_int64(line.substr(0, line.find(',')));
    return number ? std::optional<int>(static_cast<int>(*number)) : std::nullopt;
}

}  // namespace

TraceLogTail::TraceLogTail() {
    struct stat status {};
    // Only a regular file: anything else may block whoever opens it.
    if (stat(__log_file__, &status) == 0 && S_ISREG(status.st_mode)) start_ = status.st_size;
}

std::optional<LoggedTransfer> TraceLogTail::failed_transfer() const {
    struct stat status {};
    if (stat(__log_file__, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    std::ifstream log(__log_file__, std::ios::binary);
    // A log that shrank was rotated.
    if (start_ <= status.st_size) log.seekg(std::max(start_, status.st_size - kMostRead));
    const std::string own = " " + std::to_string(getpid()) + " [";
    std::optional<LoggedTransfer> found;
    for (std::string line; std::getline(log, line);) {
        if (line.find(own) != std::string::npos) continue;
        if (const auto result = number_behind(line, kNoAnswer)) found = {*result, 0};
        if (const auto answer = number_behind(line, kBadAnswer)) found = {0, *answer};
    }
    return found;
}

}  // namespace harbex::tools
