#include "deadline.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cerrno>

namespace bsvc {
namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;
// One wait is cut here, so that its seconds fit a time_t of 32 bits whatever the clock says.
constexpr int64_t kLongestWait_ns = 3600 * kNsPerSecond;

}  // namespace

int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

Deadline Deadline::in_seconds(int seconds) {
    return Deadline(monotonic_ns() + seconds * kNsPerSecond);
}

int64_t Deadline::remaining_ns() const {
    return std::max<int64_t>(at_ns_ - monotonic_ns(), 0);
}

Deadline::Wait Deadline::wait(int fd, short events) const {
    for (;;) {
        const int64_t left_ns = std::min(remaining_ns(), kLongestWait_ns);
        timespec left{};
        left.tv_sec = static_cast<time_t>(left_ns / kNsPerSecond);
        left.tv_nsec = static_cast<long>(left_ns % kNsPerSecond);
        pollfd waiting{fd, events, 0};
        const int count = ppoll(&waiting, 1, &left, nullptr);
        if (count > 0) return Wait::kReady;
        if (count < 0 && errno != EINTR) return Wait::kFailed;
        if (passed()) return Wait::kPassed;
    }
}

}  // namespace bsvc
