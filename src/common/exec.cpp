#include "common/exec.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "common/child_process.h"
#include "common/error_code.h"

namespace harbex::system {
namespace {

constexpr int kDisappearRounds = 10;

void sleep_one_second() {
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

}  // namespace

int avoid_zombie(char* const argv[]) {
    leave_orphan({argv, go_nowhere});
    return -1;
}

int background(char* const argv[]) {
    const pid_t child = start_orphan({argv, go_nowhere});
    if (child < 0) return ERR_BACKGROUND_PROCESS;
    // The child is rarely gone by now, and then counts as started: callers rely on not being held up.
    int status = 0;
    const pid_t reaped = ::waitpid(0, &status, WNOHANG);
    const bool failed = reaped < 0 || (reaped > 0 && !exited_with_0(status));
    // It only forks and exits: waited for, it leaves no zombie.
    if (reaped != child) (void)wait_for_child(child, status);
    return failed ? ERR_BACKGROUND_PROCESS : NO_ERROR;
}

int foreground(char* const argv[]) {
    const pid_t child = start_program({argv, go_nowhere});
    int status = 0;
    if (child < 0 || !wait_for_child(child, status) || !exited_with_0(status)) return ERR_BACKGROUND_PROCESS;
    sleep_one_second();
    return NO_ERROR;
}

int kill(pid_t pid, int sig) {
    if (::kill(pid, sig) != 0) return ERR_KILL_PROCESS;
    char path[32];
    (void)std::snprintf(path, sizeof(path), "/proc/%d", pid);
    for (int round = 0; round < kDisappearRounds; ++round) {
        struct stat entry;
        if (::lstat(path, &entry) != 0) break;
        sleep_one_second();
    }
    return NO_ERROR;
}

}  // namespace harbex::system
