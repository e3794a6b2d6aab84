#include "cloud/stream.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace appliance {

bool TlsStream::wait_for_request(int timeout_ms) const {
    if (taken_ < buffer_.size() || SSL_pending(ssl_.get()) > 0) return true;
    pollfd wanted{descriptor_, POLLIN, 0};
    return poll(&wanted, 1, timeout_ms) > 0;
}

bool TlsStream::is_readable() const {
    return wait_for_request(0);
}

ssize_t TlsStream::read(char* bytes, size_t size) {
    // An interim answer ("100 Continue") must be out before its effect can be read.
    if (!answer_.empty() && !send_all(std::exchange(answer_, ""))) return -1;
    if (taken_ == buffer_.size()) {
        buffer_.resize(16384);
        const int count = SSL_read(ssl_.get(), buffer_.data(), static_cast<int>(buffer_.size()));
        buffer_.resize(count > 0 ? static_cast<size_t>(count) : 0);
        taken_ = 0;
        if (count <= 0) return count;
    }
    const size_t count = std::min(size, buffer_.size() - taken_);
    buffer_.copy(bytes, count, taken_);
    request_.append(buffer_, taken_, count);
    taken_ += count;
    return static_cast<ssize_t>(count);
}

ssize_t TlsStream::write(const char* bytes, size_t size) {
    answer_.append(bytes, size);
    return static_cast<ssize_t>(size);
}

void TlsStream::get_remote_ip_and_port(std::string& ip, int& port) const {
    ip.clear();
    port = 0;
}

void TlsStream::get_local_ip_and_port(std::string& ip, int& port) const {
    ip.clear();
    port = 0;
}

void TlsStream::begin_request() {
    request_.clear();
    ending_ = Ending::kWhole;
}

bool TlsStream::send_answer() {
    const std::string answer = std::exchange(answer_, "");
    if (ending_ == Ending::kReset) {
        reset_on_close(descriptor_);
        return false;
    }
    if (ending_ == Ending::kCut) {
        // All header lines and half of the body: the client knows that something is missing.
        const size_t head = answer.find("\r\n\r\n");
        const size_t body = head == std::string::npos ? 0 : head + 4;
        send_all(std::string_view(answer).substr(0, body + (answer.size() - body) / 2));
        return false;
    }
    return send_all(answer);
}

bool TlsStream::send_all(std::string_view bytes) {
    return bytes.empty() || SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
}

void reset_on_close(socket_t descriptor) {
    const linger at_once{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
}

}  // namespace appliance
