// The checks of harbexctl doctor: what was found of one thing, and what to do about it.
#pragma once

#include <string>
#include <vector>

#include "ask.h"

namespace harbex::tools {

struct Finding {
    std::string name;
    bool is_good = false;
    std::string found;
    std::string remedy;
};

// All checks, side by side, in the order to read them in. What does not answer by `deadline` is not good.
std::vector<Finding> check_everything(Deadline deadline);

// Of this NAS's files and disks alone; quick.
std::vector<Finding> check_files();

}  // namespace harbex::tools
