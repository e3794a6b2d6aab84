// Both ends of the bus for its tests: a service of many moods, and peers that speak, or misspeak, the wire by hand.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "base/stream_owner.h"
#include "bus/service.h"
#include "support/bus_bytes.h"
#include "support/run_program.h"

namespace bsvc::test {

using namespace std::chrono_literals;
using harbex::test::run_apart, harbex::test::run_program, harbex::test::wait_until;
using nas::Descriptor, nas::StreamOwner;

constexpr char kService[] = "bus_test";

inline std::string text_of(bs_io* io) {
    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    return bytes == nullptr ? "" : std::string(bytes, length);
}

struct Outcome {
    int result;
    std::string text;  // the reply, or the request that is still there
    bool operator==(const Outcome&) const = default;
};

inline Outcome call(const std::string& method, std::string_view body = "", int timeout_s = 20,
                    const char* service = kService) {
    const StreamOwner io(bs_io_create());
    bs_io_write(io.get(), body.data(), body.size());
    const int result = bs_call(service, method.c_str(), io.get(), timeout_s, -1);
    return {result, text_of(io.get())};
}

inline void in_threads(int count, const std::function<void(int number)>& work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, i);
}

inline ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// What handlers do and tests look at.
inline std::atomic<int> handlers_inside{0};
inline std::atomic<bool> held{false};
inline std::atomic<int> self_call_result{-1};

inline void serve(const char* method, bs_io* io, int fd) {
    const std::string name = method;
    ++handlers_inside;
    while (held && name.starts_with("hold"))
        std::this_thread::sleep_for(1ms);
    if (name == "produce") bs_io_realloc(io, std::strtoul(text_of(io).c_str(), nullptr, 10));
    if (name == "hold_and_call") self_call_result = bs_call(kService, "echo", io, 20, -1);
    if (name == "nest" && bs_call(kService, "echo", io, 60, -1) != 0) bs_io_realloc(io, 0);
    if (name != "silent") (void)bs_reply(io);
    close(fd);
    bs_io_free(io);
    --handlers_inside;
}

// A service in a thread of its own, stopped and freed at the end of the scope.
class Running {
public:
    explicit Running(int workers = 4, const char* name = kService)
        : service_(bs_create(name, workers, 1, serve)), thread_([this] { result_ = bs_start(service_); }) {}
    ~Running() {
        stop();
        bs_free(service_);
    }
    Running(const Running&) = delete;
    void operator=(const Running&) = delete;

    bs_service* get() const { return service_; }
    const Traffic& traffic() const { return service_->traffic(); }
    bool has_open(int count) const {
        return wait_until([&] { return traffic().open == count; });
    }
    int stop() {
        if (service_ != nullptr) bs_stop(service_);
        if (thread_.joinable()) thread_.join();
        return result_;
    }

private:
    bs_service* const service_;
    int result_ = -1;
    std::thread thread_;
};

inline sockaddr_un address_of(const char* service = kService) {
    sockaddr_un address;
    EXPECT_TRUE(service_address(service, address));
    return address;
}

inline bool send_bytes(const Descriptor& fd, std::string_view bytes) {
    return bytes.empty() ||
           send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// What connect or bind makes of a socket and a service's name; none when that failed.
inline Descriptor socket_at(decltype(&connect) attach, const char* service) {
    const sockaddr_un address = address_of(service);
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (attach(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fd.reset();
    return fd;
}

// A connection on which these bytes have been sent; none when that failed.
inline Descriptor raw_peer(std::string_view bytes = "", const char* service = kService) {
    Descriptor fd = socket_at(connect, service);
    if (fd && !send_bytes(fd, bytes)) fd.reset();
    return fd;
}

// All that comes until the peer closes; "(nothing)" when it neither sends nor closes.
inline std::string receive_all(const Descriptor& fd) {
    std::string all;
    for (char chunk[4096];;) {
        pollfd waiting{fd.get(), POLLIN, 0};
        if (poll(&waiting, 1, 20'000) != 1) return "(nothing)";
        const ssize_t count = recv(fd.get(), chunk, sizeof chunk, 0);
        if (count <= 0) return all;
        all.append(chunk, static_cast<size_t>(count));
    }
}

// A socket bound to a service's name; closed, it leaves what a dead service leaves.
inline Descriptor bound_socket(const char* service = kService) {
    std::filesystem::create_directories("/var/run/bsvc");
    unlink(address_of(service).sun_path);
    return socket_at(bind, service);
}

// Stands behind the service's name for one caller and keeps no rule of the bus but what `behave` does.
inline std::jthread raw_service(std::function<void(const Descriptor& caller)> behave) {
    Descriptor listener = bound_socket();
    EXPECT_EQ(listen(listener.get(), 8), 0);
    return std::jthread([listener = std::move(listener), behave] {
        behave(Descriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)));
        unlink(address_of().sun_path);
    });
}

}  // namespace bsvc::test
