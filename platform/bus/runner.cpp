// bs_io_execv: a program run to its end, its output collected.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "base/descriptor.h"
#include "bsvc.h"

namespace {

using nas::Descriptor;

constexpr int kCouldNotStart = 127;
constexpr int kSignalBase = 128;
constexpr size_t kChunk = 4 * 1024;  // on the stack, whose pages are touched
constexpr size_t kTurn = 64 * 1024;  // so much of one output before the other is looked at
// Where the kernel cannot report the child's end on a descriptor it is asked this often.
constexpr int kAskAgain_ms = 20;

// One of the child's two outputs: what reads it here, what it writes to there, and the stream that collects it.
struct Output {
    bs_io* stream;
    Descriptor from_child, to_parent;
    bool lost = false;  // memory was short: the rest is read and dropped, so that the child does not block
};

// The write end must not be one of the numbers that the child's descriptors 0 to 2 are made from.
bool open_output(Output& output) {
    if (output.stream == nullptr) {
        output.to_parent.reset(open("/dev/null", O_WRONLY | O_CLOEXEC));
    } else {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        output.from_child.reset(ends[0]);
        output.to_parent.reset(ends[1]);
        if (fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) return false;
    }
    if (output.to_parent && output.to_parent.get() <= STDERR_FILENO)
        output.to_parent.reset(fcntl(output.to_parent.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return static_cast<bool>(output.to_parent);
}

// Owns the two descriptions posix_spawn takes.
class SpawnPlan {
public:
    SpawnPlan() : failure_(posix_spawn_file_actions_init(&actions_)) {
        if (failure_ == 0) failure_ = posix_spawnattr_init(&attributes_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }

    // 0, or the number of the error.
    int start(char* const argv[], int out, int err, pid_t& child) {
        sigset_t all, none;
        sigfillset(&all);
        sigemptyset(&none);
        check(posix_spawnattr_setflags(&attributes_,
                                       POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
        // A group of its own: a wait for any child of the caller's group must not reap this one.
        check(posix_spawnattr_setpgroup(&attributes_, 0));
        check(posix_spawnattr_setsigdefault(&attributes_, &all));
        check(posix_spawnattr_setsigmask(&attributes_, &none));
        check(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        check(posix_spawn_file_actions_adddup2(&actions_, out, STDOUT_FILENO));
        check(posix_spawn_file_actions_adddup2(&actions_, err, STDERR_FILENO));
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
        // For what other code has opened without O_CLOEXEC.
        check(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
#endif
        return failure_ != 0 ? failure_ : posix_spawn(&child, argv[0], &actions_, &attributes_, argv, environ);
    }

private:
    void check(int failure) {
        if (failure_ == 0) failure_ = failure;
    }
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
    int failure_;
};

// Takes what is there, at most `limit` bytes. At the pipe's end the reading end is closed.
void drain(Output& output, size_t limit) {
    char chunk[kChunk];
    while (output.from_child && limit > 0) {
        const ssize_t count = read(output.from_child.get(), chunk, std::min(limit, sizeof chunk));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return;
        if (count <= 0) return output.from_child.reset();
        limit -= static_cast<size_t>(count);
        if (!output.lost && bs_io_write(output.stream, chunk, static_cast<size_t>(count)) < 0) output.lost = true;
    }
}

// What the child has left in the pipe. Not until the end of file, and not what comes from now on: a daemon that it
// has left behind may hold the pipe, and write to it, for ever.
void drain_rest(Output& output) {
    int pending = 0;
    if (output.from_child && ioctl(output.from_child.get(), FIONREAD, &pending) == 0 && pending > 0)
        drain(output, static_cast<size_t>(pending));
}

bool has_ended(pid_t child) {
    siginfo_t info{};
    // Also when it cannot be asked: somebody else has reaped it.
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == child;
}

void collect_until_end(pid_t child, Output& out, Output& err) {
    const Descriptor end(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    for (bool ended = false; !ended;) {
        pollfd waiting[] = {
            {out.from_child.get(), POLLIN, 0}, {err.from_child.get(), POLLIN, 0}, {end.get(), POLLIN, 0}};
        if (poll(waiting, std::size(waiting), end ? -1 : kAskAgain_ms) < 0 && errno != EINTR) return;
        // Asked before the pipes are read: what the child wrote before its end is then read in any case.
        ended = end ? waiting[2].revents != 0 : has_ended(child);
        if (waiting[0].revents != 0) drain(out, kTurn);
        if (waiting[1].revents != 0) drain(err, kTurn);
    }
    drain_rest(out);
    drain_rest(err);
}

int wait_for(pid_t child) {
    int status = 0;
    pid_t reaped = -1;
    do
        reaped = waitpid(child, &status, 0);
    while (reaped < 0 && errno == EINTR);
    if (reaped != child) return -1;
    return WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int bs_io_execv(int /*options*/, bs_io* out, bs_io* err, char* const argv[]) {
    if (argv == nullptr || argv[0] == nullptr) {
        errno = EINVAL;
        return -1;
    }
    Output output{out, Descriptor(), Descriptor()};
    Output errors{err, Descriptor(), Descriptor()};
    if (!open_output(output) || !open_output(errors)) return -1;
    pid_t child = -1;
    const int failure = SpawnPlan().start(argv, output.to_parent.get(), errors.to_parent.get(), child);
    if (failure != 0) {
        errno = failure;
        // Without memory or a free process number it was not even tried.
        return failure == EAGAIN || failure == ENOMEM ? -1 : kCouldNotStart;
    }
    output.to_parent.reset();
    errors.to_parent.reset();
    collect_until_end(child, output, errors);
    const int result = wait_for(child);
    if (!output.lost && !errors.lost) return result;
    errno = ENOMEM;
    return -1;
}
