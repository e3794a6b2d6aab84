#include "common/exec.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "common/child_process.h"
#include "common/error_code.h"

namespace harbex::system {
namespace {

constexpr int kDisappearRounds = 10;

bool exited_with_0(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

pid_t wait_for(pid_t child, int& status) {
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(child, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    return reaped;
}

void sleep_one_second() {
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

}  // namespace

int avoid_zombie(char* const argv[]) {
    const pid_t child = ::fork();
    if (child < 0) return -1;
    if (child > 0) ::_exit(0);
    become_program(argv);
}

int background(char* const argv[]) {
    const pid_t child = ::fork();
    if (child < 0) return ERR_BACKGROUND_PROCESS;
    if (child == 0) {
        (void)avoid_zombie(argv);  // returns only when it failed
        ::_exit(1);
    }
    // The child is rarely gone by now, and then counts as started: callers rely on not being held up.
    int status = 0;
    const pid_t reaped = ::waitpid(0, &status, WNOHANG);
    const bool failed = reaped < 0 || (reaped > 0 && !exited_with_0(status));
    if (reaped != child) {
        int ignored = 0;
        (void)wait_for(child, ignored);  // it only forks and exits: no zombie stays
    }
    return failed ? ERR_BACKGROUND_PROCESS : NO_ERROR;
}

int foreground(char* const argv[]) {
    const pid_t child = ::fork();
    if (child < 0) return ERR_BACKGROUND_PROCESS;
    if (child == 0) become_program(argv);
    int status = 0;
    if (wait_for(child, status) < 0 || !exited_with_0(status)) return ERR_BACKGROUND_PROCESS;
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
