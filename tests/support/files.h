#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace harbex::test {

inline void write_text(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

inline std::string read_text(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// Puts a shell script in a tool's place until the end of the scope.
class ReplacedTool {
public:
    ReplacedTool(std::filesystem::path tool, const std::string& script) : tool_(std::move(tool)) {
        std::filesystem::rename(tool_, backup());
        write_text(tool_, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(tool_, std::filesystem::perms(0755));
    }
    ~ReplacedTool() { std::filesystem::rename(backup(), tool_); }
    ReplacedTool(const ReplacedTool&) = delete;
    void operator=(const ReplacedTool&) = delete;

private:
    std::filesystem::path backup() const { return tool_.string() + ".replaced"; }
    std::filesystem::path tool_;
};

}  // namespace harbex::test
