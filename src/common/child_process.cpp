#include "common/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>

namespace harbex::system {
namespace {

// A daemon holds its signals back and ignores SIGPIPE: its programs must not inherit that for good.
void restore_signals() {
    sigset_t none;
    sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)signal(SIGPIPE, SIG_DFL);
}

[[noreturn]] void become(const ChildProgram& program) {
    restore_signals();
    if (program.prepare(program)) (void)program.execute(program.argv[0], program.argv);
    ::_exit(1);
}

}  // namespace

bool go_nowhere(const ChildProgram&) {
    // Not close-on-exec, and dup2 rather than close and dup: where the caller runs without standard streams, the
    // descriptor may itself be one of the three.
    const int null_device = ::open("/dev/null", O_WRONLY);  // NOLINT(android-cloexec-open)
    if (null_device < 0) return false;
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fd != null_device && ::dup2(null_device, fd) < 0) return false;
    }
    if (null_device > STDERR_FILENO) ::close(null_device);
    ::umask(0);
    return ::chdir("/") == 0;
}

pid_t start_program(const ChildProgram& program) {
    const pid_t child = ::fork();
    if (child == 0) become(program);
    return child;
}

pid_t start_orphan(const ChildProgram& program) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    leave_orphan(program);
    ::_exit(1);
}

void leave_orphan(const ChildProgram& program) {
    const pid_t orphan = ::fork();
    if (orphan > 0) ::_exit(0);
    if (orphan == 0) become(program);
}

bool wait_for_child(pid_t child, int& status) {
    pid_t ended = -1;
    do {
        ended = ::waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended == child;
}

bool exited_with_0(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace harbex::system
