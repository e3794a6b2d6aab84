// An HTTP peer on a loopback port that keeps what it was sent, byte for byte, and answers what it was told to.
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace harbex::test {

class RawHttpPeer {
public:
    // `answer` goes out as it is, then the connection is closed; `stall` keeps it open instead, until the peer ends.
    enum class Then { kClose, kStall };
    explicit RawHttpPeer(std::string answer, Then then = Then::kClose) : answer_(std::move(answer)), then_(then) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        (void)bind(listener_, generic, size);
        (void)listen(listener_, 8);
        if (getsockname(listener_, generic, &size) != 0) throw std::runtime_error("no loopback port");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~RawHttpPeer() {
        ending_ = true;
        thread_.join();
        close(listener_);
    }
    RawHttpPeer(const RawHttpPeer&) = delete;
    void operator=(const RawHttpPeer&) = delete;

    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }
    std::string url(const std::string& path) const { return "http://" + host() + path; }
    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

private:
    bool wait_for_input(int fd) const {
        while (!ending_) {
            pollfd waiting{fd, POLLIN, 0};
            if (poll(&waiting, 1, 20) > 0) return true;
        }
        return false;
    }

    static bool is_whole(const std::string& request) {
        const size_t end = request.find("\r\n\r\n");
        const size_t length = request.find("\r\nContent-Length: ");
        if (length >= end) return end != std::string::npos;
        return request.size() >= end + 4 + std::stoul(request.substr(length + 18));
    }

    void serve() {
        while (wait_for_input(listener_)) {
            const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) continue;
            std::string request;
            char bytes[4096];
            while (!is_whole(request) && wait_for_input(fd)) {
                const ssize_t count = read(fd, bytes, sizeof bytes);
                if (count <= 0) break;
                request.append(bytes, static_cast<size_t>(count));
            }
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(request);
            }
            (void)send(fd, answer_.data(), answer_.size(), MSG_NOSIGNAL);
            if (then_ == Then::kStall) (void)wait_for_input(fd);
            close(fd);
        }
    }

    const std::string answer_;
    const Then then_;
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> ending_ = false;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;  // guarded by mutex_
    std::thread thread_;
};

}  // namespace harbex::test
