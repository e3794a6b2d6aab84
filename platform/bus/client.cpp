// bs_call: one connection, one request, one reply, under one deadline.
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "base/descriptor.h"
#include "bsvc.h"
#include "deadline.h"
#include "framing.h"
#include "send_all.h"
#include "service_name.h"
#include "stream.h"

namespace {

using bsvc::Deadline;
using bsvc::Parsed;

// A reply up to this size is read whole with one system call.
constexpr size_t kSmallReply = 4 * 1024;

bs_call_result connect_failure() {
    switch (errno) {
        case ENOENT:
        case ENOTDIR:
            return BS_CALL_NO_SERVICE;
        case ECONNREFUSED:
        case EACCES:
        case EPERM:
        case EPROTOTYPE:
            return BS_CALL_REFUSED;
        default:
            return BS_CALL_ERROR;
    }
}

// Lets the next system call on the socket block up to the deadline.
bool limit_wait(int fd, int option, const Deadline& deadline) {
    const int64_t left_us = std::max<int64_t>(deadline.remaining_ns() / 1000, 1);  // 0 would mean for ever
    timeval left{};
    left.tv_sec = static_cast<time_t>(std::min<int64_t>(left_us / 1'000'000, std::numeric_limits<int>::max()));
    left.tv_usec = static_cast<suseconds_t>(left_us % 1'000'000);
    return setsockopt(fd, SOL_SOCKET, option, &left, sizeof left) == 0;
}

// Blocking: a non-blocking connect to a full backlog fails instead of waiting, and poll has nothing to wait for.
bs_call_result connect_to(int fd, const sockaddr_un& address, const Deadline& deadline) {
    do {
        if (!limit_wait(fd, SO_SNDTIMEO, deadline)) return BS_CALL_ERROR;
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return BS_CALL_OK;
        if (errno != EINTR && errno != EAGAIN) return connect_failure();
    } while (!deadline.passed());
    return BS_CALL_TIMEOUT;
}

bs_call_result send_request(int fd, const char* method, const bs_io& request, const Deadline& deadline) {
    const size_t method_length = std::strlen(method);
    const bsvc::RequestHeader header = bsvc::make_request_header(method_length, request.size);
    iovec parts[] = {{const_cast<bsvc::RequestHeader*>(&header), sizeof header},
                     {const_cast<char*>(method), method_length},
                     {request.bytes, request.size}};
    switch (bsvc::send_all(fd, parts, 3, deadline)) {
        case bsvc::Sent::kAll:
            return BS_CALL_OK;
        case bsvc::Sent::kTimeout:
            return BS_CALL_TIMEOUT;
        case bsvc::Sent::kClosed:
            return BS_CALL_CLOSED;
        case bsvc::Sent::kFailed:
            break;
    }
    return BS_CALL_ERROR;
}

// Reads some bytes, at least one.
bs_call_result receive_some(int fd, char* buffer, size_t size, const Deadline& deadline, size_t& received) {
    do {
        if (!limit_wait(fd, SO_RCVTIMEO, deadline)) return BS_CALL_ERROR;
        const ssize_t count = recv(fd, buffer, size, 0);
        if (count > 0) {
            received = static_cast<size_t>(count);
            return BS_CALL_OK;
        }
        if (count == 0 || errno == ECONNRESET) return BS_CALL_CLOSED;
        if (errno != EINTR && errno != EAGAIN) return BS_CALL_ERROR;
    } while (!deadline.passed());
    return BS_CALL_TIMEOUT;
}

// The rest of a body of which `reply` holds the beginning.
bs_call_result receive_rest(int fd, size_t body_length, const Deadline& deadline, bs_io& reply) {
    if (!reply.reserve(body_length)) return BS_CALL_ERROR;
    while (reply.size < body_length) {
        size_t received = 0;
        const bs_call_result result =
            receive_some(fd, reply.bytes + reply.size, body_length - reply.size, deadline, received);
        if (result != BS_CALL_OK) return result;
        reply.size += received;
        reply.bytes[reply.size] = '\0';
    }
    return BS_CALL_OK;
}

bs_call_result receive_reply(int fd, const Deadline& deadline, bs_io& io) {
    char buffer[kSmallReply];
    size_t filled = 0;
    for (;;) {
        size_t received = 0;
        const bs_call_result result = receive_some(fd, buffer + filled, sizeof buffer - filled, deadline, received);
        if (result != BS_CALL_OK) return result;
        filled += received;
        bsvc::Reply reply;
        const Parsed parsed = bsvc::parse_reply({buffer, filled}, reply);
        if (parsed == Parsed::kTooLarge) return BS_CALL_TOO_LARGE;
        if (parsed == Parsed::kMalformed) return BS_CALL_CLOSED;
        if (reply.body.data() == nullptr) continue;
        if (bs_io_write(&io, reply.body.data(), reply.body.size()) < 0) return BS_CALL_ERROR;
        return parsed == Parsed::kWhole ? BS_CALL_OK : receive_rest(fd, reply.body_length, deadline, io);
    }
}

}  // namespace

int bs_call(const char* service, const char* method, bs_io* io, int timeout_s, int /*last*/) {
    sockaddr_un address;
    if (method == nullptr || io == nullptr || timeout_s < 0 || !bsvc::service_address(service, address)) {
        errno = EINVAL;
        return BS_CALL_ERROR;
    }
    if (io->size > bsvc::kMaxPayload || std::strlen(method) > bsvc::kMaxPayload - io->size) return BS_CALL_TOO_LARGE;
    const Deadline deadline = Deadline::in_seconds(timeout_s);
    const bsvc::Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connection) return BS_CALL_ERROR;
    bs_io reply;
    bs_call_result result = connect_to(connection.get(), address, deadline);
    if (result == BS_CALL_OK) result = send_request(connection.get(), method, *io, deadline);
    if (result == BS_CALL_OK) result = receive_reply(connection.get(), deadline, reply);
    if (result == BS_CALL_OK) io->take_bytes(reply);
    return result;
}
