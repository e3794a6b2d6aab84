// New lines of the NAS's logs, for a page: whole lines only, and no token whole.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace console {

// The line with every long word of letters and digits cut after its first characters: tokens stand in the logs in
// clear.
std::string without_tokens(const std::string& line);

// Follows one file from its end on, across rotations. One thread.
class LogFollower {
public:
    explicit LogFollower(std::string path);
    // The lines that have come since the last call, at most 200: of more, the last ones. Empty while there is no
    // file.
    std::vector<std::string> new_lines();

private:
    std::string path_;
    ino_t inode_ = 0;
    off_t read_up_to_ = 0;
    std::string unfinished_;
};

}  // namespace console
