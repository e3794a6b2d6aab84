// Programs that are run for what they print. Their names are published, in common/exec.h.
#pragma once

#include <string>
#include <vector>

namespace harbex::system {

// Appends what the shell command line prints to `output`. Blocks until it ends; its exit status is not looked at. 0,
// or -1 when it cannot be run. A NUL printed hides the rest of its line. The shell inherits the signals that the
// caller blocks or ignores.
[[nodiscard]] int do_exec(const char* command, std::string& output);

// Runs argv[0] and blocks until it ends. 0 when it exited with 0: `output` is then its standard output up to a first
// NUL. Otherwise `output` is empty, and the result is -1 for an empty vector or no memory, else that of the bus
// library's process runner (exit status, 127, 128 + signal). Standard error is discarded.
[[nodiscard]] int do_exec_safe(const std::vector<std::string>& argv, std::string& output);

}  // namespace harbex::system
