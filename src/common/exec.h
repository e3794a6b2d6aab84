// Runs other programs. They are given paths: nothing is searched for, and only do_exec involves a shell.
#pragma once

#include <sys/types.h>

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

// Leaves the program running as an orphan, its three standard streams on /dev/null, in "/" with umask 0, and ENDS THE
// CALLING PROCESS with status 0, without flushing its streams: call it in a disposable child, as background does.
// Returns only -1: fork failed.
[[nodiscard]] int avoid_zombie(char* const argv[]);

// Starts the program detached (see avoid_zombie) and returns at once. NO_ERROR, or ERR_BACKGROUND_PROCESS when it
// could not be forked; a program that cannot be executed is not noticed. It looks at whichever child of the process
// group ended last: a child of the caller's own that did not exit with 0 is taken for a failure here, and is gone
// afterwards.
[[nodiscard]] int background(char* const argv[]);

// Runs the program as avoid_zombie does, but waits for it, and for one second more when it exited with 0. NO_ERROR,
// or ERR_BACKGROUND_PROCESS when it cannot be run or ended otherwise. Not beside `background` in another thread,
// which may take its result.
[[nodiscard]] int foreground(char* const argv[]);

// Sends the signal and waits up to ten seconds for the process to disappear from /proc. NO_ERROR, whether it did or
// not, or ERR_KILL_PROCESS when the signal could not be sent.
[[nodiscard]] int kill(pid_t pid, int sig);

// Runs `script` with the argument `action`, blocking; a failure is only logged.
void invoke_vpn_script(const std::string& script, const std::string& action);

}  // namespace harbex::system
