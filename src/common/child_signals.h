// What a forked child owes the program it is about to become.
#pragma once

#include <signal.h>

namespace harbex::system {

// A daemon holds its signals back and ignores SIGPIPE: its programs must not inherit that for good.
// Async-signal-safe.
inline void restore_signals() {
    sigset_t none;
    sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)signal(SIGPIPE, SIG_DFL);
}

}  // namespace harbex::system
