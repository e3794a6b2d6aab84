// Sending the parts of a message over a non-blocking stream socket.
#pragma once

#include <sys/uio.h>

#include "deadline.h"

namespace bsvc {

enum class Sent {
    kAll,
    kTimeout,  // errno ETIMEDOUT
    kClosed,   // the peer is gone
    kFailed,   // errno says why
};

// Sends `count` parts, which it changes on the way. Raises no SIGPIPE.
Sent send_all(int fd, iovec* parts, size_t count, const Deadline& deadline);

}  // namespace bsvc
