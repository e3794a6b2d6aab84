// What a forked child does on its way to the program it becomes. Only async-signal-safe calls.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace harbex::system {

// A daemon holds its signals back and ignores SIGPIPE: its programs must not inherit that for good.
inline void restore_signals() {
    sigset_t none;
    sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)signal(SIGPIPE, SIG_DFL);
}

// Runs argv[0] in this process's place: standard streams on /dev/null, in "/", umask 0. Ends with 1 when it cannot.
[[noreturn]] inline void become_program(char* const argv[]) {
    // Not close-on-exec, and dup2 rather than close and dup: where the caller runs without standard streams, the
    // descriptor may itself be one of the three.
    const int null_device = ::open("/dev/null", O_WRONLY);  // NOLINT(android-cloexec-open)
    if (null_device < 0) ::_exit(1);
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fd != null_device && ::dup2(null_device, fd) < 0) ::_exit(1);
    }
    if (null_device > STDERR_FILENO) ::close(null_device);
    restore_signals();
    ::umask(0);
    if (::chdir("/") != 0) ::_exit(1);
    ::execv(argv[0], argv);
    ::_exit(1);
}

}  // namespace harbex::system
