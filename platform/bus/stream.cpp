#include "stream.h"

#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "deadline.h"
#include "framing.h"
#include "send_all.h"

namespace {

constexpr size_t kFirstCapacity = 256;
// How long a caller that does not read its reply may hold a worker.
constexpr int kReplyTimeout_s = 5;

}  // namespace

bs_io::~bs_io() {
    std::free(bytes);
}

bool bs_io::reserve(size_t count) {
    if (count < capacity) return true;
    if (count >= static_cast<size_t>(std::numeric_limits<ssize_t>::max())) {
        errno = ENOMEM;
        return false;
    }
    size_t wanted = std::max(count + 1, kFirstCapacity);
    if (capacity <= std::numeric_limits<size_t>::max() / 2) wanted = std::max(wanted, capacity * 2);
    void* grown = std::realloc(bytes, wanted);
    if (grown == nullptr) return false;
    bytes = static_cast<char*>(grown);
    capacity = wanted;
    bytes[size] = '\0';
    return true;
}

void bs_io::take_bytes(bs_io& other) {
    std::swap(bytes, other.bytes);
    std::swap(size, other.size);
    std::swap(capacity, other.capacity);
}

namespace bsvc {

bs_io* make_request_stream(std::string_view body, Seat seat, int fd) {
    std::unique_ptr<bs_io> io(bs_io_create());
    if (!io || bs_io_write(io.get(), body.data(), body.size()) < 0) return nullptr;
    io->caller.emplace(Caller{std::move(seat), fd, false});
    return io.release();
}

}  // namespace bsvc

bs_io* bs_io_create(void) {
    return new (std::nothrow) bs_io;
}

char* bs_io_read(bs_io* io, size_t* len) {
    const size_t size = io == nullptr ? 0 : io->size;
    if (len != nullptr) *len = size;
    return size == 0 ? nullptr : io->bytes;
}

ssize_t bs_io_write(bs_io* io, const void* data, size_t count) {
    if (io == nullptr || (data == nullptr && count > 0) ||
        count > static_cast<size_t>(std::numeric_limits<ssize_t>::max()) - io->size) {
        errno = EINVAL;
        return -1;
    }
    if (count == 0) return 0;
    // The bytes may be the stream's own, which move when it grows.
    const auto source = reinterpret_cast<uintptr_t>(data);
    const auto own = reinterpret_cast<uintptr_t>(io->bytes);
    const bool from_itself = source >= own && source - own < io->size;
    if (!io->reserve(io->size + count)) return -1;
    std::memmove(io->bytes + io->size, from_itself ? io->bytes + (source - own) : data, count);
    io->size += count;
    io->bytes[io->size] = '\0';
    return static_cast<ssize_t>(count);
}

int bs_io_realloc(bs_io* io, size_t size) {
    if (io == nullptr) {
        errno = EINVAL;
        return -1;
    }
    if (size > io->size) {
        if (!io->reserve(size)) return -1;
        std::memset(io->bytes + io->size, 0, size - io->size);
    }
    io->size = size;
    if (io->bytes != nullptr) io->bytes[size] = '\0';
    return 0;
}

void bs_io_free(bs_io* io) {
    delete io;
}

int bs_io_printf(bs_io* io, const char* fmt, ...) {
    if (io == nullptr || fmt == nullptr) {
        errno = EINVAL;
        return -1;
    }
    // Formatted beside the stream first: an argument may point into it.
    char* text = nullptr;
    va_list arguments;
    va_start(arguments, fmt);
    const int count = vasprintf(&text, fmt, arguments);
    va_end(arguments);
    if (count < 0) return -1;
    const ssize_t written = bs_io_write(io, text, static_cast<size_t>(count));
    std::free(text);
    return static_cast<int>(written);
}

int bs_reply(bs_io* io) {
    if (io == nullptr || !io->caller || io->caller->answered) {
        errno = EINVAL;
        return -1;
    }
    io->caller->answered = true;
    const bsvc::ReplyHeader header = bsvc::make_reply_header(io->size);
    // Of a reply above the limit the caller gets the announcement only, by which it knows what was wrong.
    const bool too_large = io->size > bsvc::kMaxPayload;
    iovec parts[] = {{const_cast<bsvc::ReplyHeader*>(&header), sizeof header}, {io->bytes, too_large ? 0 : io->size}};
    const auto deadline = bsvc::Deadline::in_seconds(kReplyTimeout_s);
    if (bsvc::send_all(io->caller->fd, parts, 2, deadline) != bsvc::Sent::kAll) return -1;
    if (too_large) errno = EMSGSIZE;
    return too_large ? -1 : 0;
}
