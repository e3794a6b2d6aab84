#include "send_all.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace bsvc {
namespace {

// Leaves out the first `sent` bytes.
void advance(iovec*& parts, size_t& count, size_t sent) {
    while (count > 0 && sent >= parts->iov_len) {
        sent -= parts->iov_len;
        ++parts;
        --count;
    }
    if (count == 0) return;
    parts->iov_base = static_cast<char*>(parts->iov_base) + sent;
    parts->iov_len -= sent;
}

}  // namespace

Sent send_all(int fd, iovec* parts, size_t count, const Deadline& deadline) {
    advance(parts, count, 0);
    while (count > 0) {
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = count;
        const ssize_t sent = sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            advance(parts, count, static_cast<size_t>(sent));
            continue;
        }
        if (errno == EINTR) continue;
        if (errno == EPIPE || errno == ECONNRESET) return Sent::kClosed;
        if (errno != EAGAIN) return Sent::kFailed;
        const Deadline::Wait wait = deadline.wait(fd, POLLOUT);
        if (wait == Deadline::Wait::kPassed) {
            errno = ETIMEDOUT;
            return Sent::kTimeout;
        }
        if (wait == Deadline::Wait::kFailed) return Sent::kFailed;
    }
    return Sent::kAll;
}

}  // namespace bsvc
