// Programs as children of this process, started with fork because their surroundings are set before they run. The
// library's own.
#pragma once

#include <sys/types.h>
#include <unistd.h>

namespace harbex::system {

struct ChildProgram {
    char* const* argv;  // argv[0] is its path
    // Sets what the program finds, in the child, once signals are as at login: only async-signal-safe calls. A false
    // result ends the child.
    bool (*prepare)(const ChildProgram& program);
    int output = -1;  // for `prepare`
    int (*execute)(const char* path,
                   char* const argv[]) = ::execv;  // execvp: also what no kernel can run, by a shell
};

// For `prepare`: the standard streams on /dev/null, in "/", umask 0.
bool go_nowhere(const ChildProgram& program);

// A child that becomes the program and ends with 1 when it cannot. Its pid, or -1.
[[nodiscard]] pid_t start_program(const ChildProgram& program);
// A child that ends at once, with 0 when the program was left behind as an orphan, else with 1. Its pid, or -1.
[[nodiscard]] pid_t start_orphan(const ChildProgram& program);
// What that child does: leaves the program behind and ENDS THIS PROCESS with 0, its streams unflushed. Returns only
// when it could not fork.
void leave_orphan(const ChildProgram& program);

// Waits for the child's end. False when there is no such child; another thread may have taken its result.
[[nodiscard]] bool wait_for_child(pid_t child, int& status);
[[nodiscard]] bool exited_with_0(int status);

}  // namespace harbex::system
