// An HTTP peer on a loopback port that keeps what it was sent, byte for byte, and answers what it was told to.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/file_descriptor.h"

namespace harbex::test {

class RawHttpPeer {
public:
    // `answer` goes out as it is, then the connection is closed; `stall` keeps it open instead, until the peer ends.
    enum class Then { kClose, kStall };
    explicit RawHttpPeer(std::string answer, Then then = Then::kClose) : answer_(std::move(answer)), then_(then) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        auto* const generic = reinterpret_cast<sockaddr*>(&address_);
        (void)bind(listener_.get(), generic, size);
        (void)listen(listener_.get(), 8);
        (void)getsockname(listener_.get(), generic, &size);
        thread_ = std::thread([this] { serve(); });
    }
    ~RawHttpPeer() {
        shutdown(listener_.get(), SHUT_RDWR);
        thread_.join();
    }

    std::string host() const { return "127.0.0.1:" + std::to_string(ntohs(address_.sin_port)); }
    std::string url(const std::string& path) const { return "http://" + host() + path; }
    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

private:
    static bool is_whole(const std::string& request) {
        const size_t end = request.find("\r\n\r\n");
        const size_t length = request.find("\r\nContent-Length: ");
        if (length >= end) return end != std::string::npos;
        return request.size() >= end + 4 + std::stoul(request.substr(length + 18));
    }

    void serve() {
        std::vector<system::FileDescriptor> stalled;
        for (;;) {
            system::FileDescriptor caller(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!caller.is_open()) return;
            std::string request;
            char bytes[4096];
            for (ssize_t count = 1; count > 0 && !is_whole(request);) {
                count = read(caller.get(), bytes, sizeof bytes);
                request.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
            }
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(request);
            }
            (void)send(caller.get(), answer_.data(), answer_.size(), MSG_NOSIGNAL);
            if (then_ == Then::kStall) stalled.push_back(std::move(caller));
        }
    }

    const std::string answer_;
    const Then then_;
    const system::FileDescriptor listener_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    sockaddr_in address_{};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;  // guarded by mutex_
    std::thread thread_;
};

}  // namespace harbex::test
