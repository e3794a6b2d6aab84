// Runs other programs. They are given paths: nothing is searched for, and only do_exec involves a shell. All names
// are published.
#pragma once

#include <sys/types.h>

#include "common/program_output.h"
#include "common/vpn_script.h"

namespace harbex::system {

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

}  // namespace harbex::system
