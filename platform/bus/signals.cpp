#include "signals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

#include "bsvc.h"

namespace {

using SignalCallback = void (*)(int);
// By signal number. Of the process, like the signals themselves.
constinit std::array<std::atomic<SignalCallback>, NSIG> callbacks{};

bool is_signal(int signo) {
    return signo > 0 && signo < NSIG && signo != SIGKILL && signo != SIGSTOP;
}

}  // namespace

namespace bsvc {

bool HeldSignals::open() {
    sigset_t held;
    sigemptyset(&held);
    for (int signo = 1; signo < NSIG; ++signo)
        if (callbacks[static_cast<size_t>(signo)] != nullptr) sigaddset(&held, signo);
    const int failure = pthread_sigmask(SIG_BLOCK, &held, nullptr);
    if (failure != 0) {
        errno = failure;
        return false;
    }
    fd_.reset(signalfd(-1, &held, SFD_NONBLOCK | SFD_CLOEXEC));
    return static_cast<bool>(fd_);
}

void HeldSignals::deliver() {
    signalfd_siginfo arrived{};
    while (read(fd_.get(), &arrived, sizeof arrived) == static_cast<ssize_t>(sizeof arrived)) {
        if (arrived.ssi_signo >= callbacks.size()) continue;
        const SignalCallback callback = callbacks[arrived.ssi_signo];
        if (callback != nullptr) callback(static_cast<int>(arrived.ssi_signo));
    }
}

}  // namespace bsvc

int bs_signal(int signo, void (*cb)(int)) {
    sigset_t held;
    sigemptyset(&held);
    if (!is_signal(signo) || cb == nullptr || sigaddset(&held, signo) != 0) {
        errno = EINVAL;
        return -1;
    }
    callbacks[static_cast<size_t>(signo)] = cb;
    const int failure = pthread_sigmask(SIG_BLOCK, &held, nullptr);
    if (failure == 0) return 0;
    errno = failure;
    return -1;
}
