// What the trace log gained since a reader was made or last asked.
#pragma once

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "common/trace_log.h"

namespace harbex::test {

class TraceReader {
public:
    TraceReader() { (void)lines(); }

    // Each new line as "LEVEL message", its time, process and call site left out.
    std::vector<std::string> lines() {
        static const std::regex prefix(R"(^\S+ \S+ \d+ \[(\w+)\] \S+ \[\d+\] \w+:)");
        std::ifstream log(__log_file__);
        log.seekg(position_);
        std::vector<std::string> found;
        for (std::string line; std::getline(log, line);) {
            position_ += static_cast<std::streamoff>(line.size() + 1);
            std::smatch match;
            const std::string head = line.substr(0, 200);
            found.push_back(std::regex_search(head, match, prefix)
                                ? match[1].str() + " " + line.substr(static_cast<size_t>(match.length()))
                                : line);
        }
        return found;
    }

private:
    std::streamoff position_ = 0;
};

}  // namespace harbex::test
