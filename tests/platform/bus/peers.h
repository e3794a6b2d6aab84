// Both ends of the bus for its tests: a service of many moods, and peers that speak, or misspeak, the wire by hand.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "bus/framing.h"
#include "bus/service.h"

namespace bsvc::test {

using namespace std::chrono_literals;

constexpr char kService[] = "bus_test";

struct FreeIo {
    void operator()(bs_io* io) const { bs_io_free(io); }
};
using Stream = std::unique_ptr<bs_io, FreeIo>;

inline std::string text_of(bs_io* io) {
    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    return bytes == nullptr ? "" : std::string(bytes, length);
}

inline Stream stream_of(std::string_view text) {
    Stream io(bs_io_create());
    bs_io_write(io.get(), text.data(), text.size());
    return io;
}

struct Outcome {
    int result;
    std::string text;  // the reply, or the request that is still there
};

inline Outcome call(const std::string& method, std::string_view body = "", int timeout_s = 20,
                    const char* service = kService) {
    const Stream io = stream_of(body);
    const int result = bs_call(service, method.c_str(), io.get(), timeout_s, -1);
    return {result, text_of(io.get())};
}

// Waits for something that is about to happen; false when it does not within a time no healthy machine needs.
inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 3000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(5ms);
    }
    return condition();
}

inline void in_threads(int count, const std::function<void(int number)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

inline ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// What handlers do and tests look at.
inline std::atomic<int> handlers_inside{0};
inline std::atomic<bool> held{false};
inline std::atomic<int> late_reply_result{0};
inline std::atomic<int> self_call_result{-1};

inline void set_text(bs_io* io, std::string_view text) {
    bs_io_realloc(io, 0);
    bs_io_write(io, text.data(), text.size());
}

// Closes its connection, lets another socket have the number, and replies then.
inline void reply_too_late(bs_io* io, int fd) {
    close(fd);
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return;
    const Descriptor first(pair[0]), second(pair[1]);
    const int result = bs_reply(io);
    char byte = 0;
    const bool leaked = recv(pair[0], &byte, 1, MSG_DONTWAIT) >= 0 || recv(pair[1], &byte, 1, MSG_DONTWAIT) >= 0;
    late_reply_result = leaked ? 100 : result;
    bs_io_free(io);
}

inline void serve(const char* method, bs_io* io, int fd) {
    const std::string name = method;
    ++handlers_inside;
    if (name == "reply_too_late") {
        reply_too_late(io, fd);
        --handlers_inside;
        return;
    }
    bool reply = true;
    if (name == "silent") reply = false;
    if (name == "length") set_text(io, std::to_string(text_of(io).size()));
    if (name == "produce") bs_io_realloc(io, std::strtoul(text_of(io).c_str(), nullptr, 10));
    if (name == "hold" || name == "hold_and_call")
        while (held)
            std::this_thread::sleep_for(1ms);
    if (name == "hold_and_call") self_call_result = bs_call(kService, "echo", io, 20, -1);
    if (name == "nest") {
        const int depth = std::atoi(text_of(io).c_str());
        set_text(io, std::to_string(depth - 1));
        if (depth > 0 && bs_call(kService, "nest", io, 20, -1) != 0) set_text(io, "nested call failed");
        if (depth == 0) set_text(io, "ground");
    }
    if (reply) (void)bs_reply(io);
    // Both orders are right.
    if (name.size() % 2 == 0) {
        close(fd);
        bs_io_free(io);
    } else {
        bs_io_free(io);
        close(fd);
    }
    --handlers_inside;
}

// A service in a thread of its own, stopped and freed at the end of the scope.
class Running {
public:
    explicit Running(int workers = 4, const char* name = kService) : service_(bs_create(name, workers, 1, serve)) {
        if (service_ != nullptr) thread_ = std::thread([this] { result_ = bs_start(service_); });
    }
    ~Running() {
        stop();
        bs_free(service_);
    }
    Running(const Running&) = delete;
    void operator=(const Running&) = delete;

    bs_service* get() const { return service_; }
    const Traffic& traffic() const { return service_->traffic(); }
    int stop() {
        if (thread_.joinable()) {
            bs_stop(service_);
            thread_.join();
        }
        return result_;
    }

private:
    bs_service* service_;
    int result_ = -1;
    std::thread thread_;
};

inline sockaddr_un address_of(const char* service) {
    sockaddr_un address;
    EXPECT_TRUE(service_address(service, address));
    return address;
}

inline bool connect_socket(int fd, const char* service) {
    const sockaddr_un address = address_of(service);
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

inline Descriptor raw_socket() {
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

inline Descriptor raw_connection(const char* service = kService) {
    Descriptor fd = raw_socket();
    if (!connect_socket(fd.get(), service)) fd.reset();
    return fd;
}

inline bool send_bytes(const Descriptor& fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

// All that comes until the peer closes; "(nothing)" when it neither sends nor closes.
inline std::string receive_all(const Descriptor& fd) {
    std::string all;
    char chunk[4096];
    for (;;) {
        pollfd waiting{fd.get(), POLLIN, 0};
        if (poll(&waiting, 1, 20'000) != 1) return "(nothing)";
        const ssize_t count = recv(fd.get(), chunk, sizeof chunk, 0);
        if (count <= 0) return all;
        all.append(chunk, static_cast<size_t>(count));
    }
}

template <typename Header>
std::string bytes_of(const Header& header) {
    return std::string(reinterpret_cast<const char*>(&header), sizeof header);
}

inline std::string request_bytes(std::string_view method, std::string_view body) {
    return bytes_of(make_request_header(method.size(), body.size())).append(method).append(body);
}

inline std::string reply_bytes(std::string_view body) {
    return bytes_of(make_reply_header(body.size())).append(body);
}

// A listener behind a service's name that keeps no rule of the bus but what `behave` does with its socket.
class RawService {
public:
    explicit RawService(std::function<void(const Descriptor& listener)> behave, int backlog = 8,
                        const char* name = kService)
        : address_(address_of(name)), listener_(raw_socket()) {
        std::filesystem::create_directories("/var/run/bsvc");
        unlink(address_.sun_path);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address_), sizeof address_), 0);
        EXPECT_EQ(listen(listener_.get(), backlog), 0);
        thread_ = std::thread([this, behave] { behave(listener_); });
    }
    ~RawService() {
        thread_.join();
        unlink(address_.sun_path);
    }
    RawService(const RawService&) = delete;
    void operator=(const RawService&) = delete;

private:
    sockaddr_un address_;
    Descriptor listener_;
    std::thread thread_;
};

inline Descriptor accept_one(const Descriptor& listener) {
    return Descriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

// Leaves the socket file of a service that died.
inline void leave_stale_socket(const char* service = kService) {
    const sockaddr_un address = address_of(service);
    std::filesystem::create_directories("/var/run/bsvc");
    unlink(address.sun_path);
    const Descriptor fd = raw_socket();
    ASSERT_EQ(bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

}  // namespace bsvc::test
