#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <thread>
#include <vector>

#include "exchange.h"

namespace bench {
namespace {

constexpr size_t kMost = 16 * 1024;

sockaddr_un bare_address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/tmp/bench_bus_bare.sock");
    return address;
}

void echo_once(int listener, const std::function<void()>& work) {
    char buffer[kMost];
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) return;
    const ssize_t count = read(fd, buffer, sizeof buffer);
    work();
    if (count > 0) (void)!write(fd, buffer, static_cast<size_t>(count));
    close(fd);
}

void accept_and_echo(int listener, const std::function<void()>& work) {
    for (;;)
        echo_once(listener, work);
}

int listen_bare() {
    const sockaddr_un address = bare_address();
    unlink(address.sun_path);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    const bool listens = bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                         listen(listener, 128) == 0;
    return listens ? listener : -1;
}

}  // namespace

void serve_bare_once() {
    const int listener = listen_bare();
    echo_once(listener, [] {});
    unlink(bare_address().sun_path);
    close(listener);
}

void serve_bare(int threads, const std::function<void()>& ready, const std::function<void()>& work) {
    const int listener = listen_bare();
    if (listener < 0) return;
    ready();
    std::vector<std::thread> others;
    for (int i = 1; i < threads; ++i)
        others.emplace_back(accept_and_echo, listener, work);
    accept_and_echo(listener, work);
}

bool exchange_bare(const std::string& request) {
    const sockaddr_un address = bare_address();
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    char buffer[kMost];
    size_t received = 0;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        write(fd, request.data(), request.size()) == static_cast<ssize_t>(request.size())) {
        const ssize_t count = read(fd, buffer, sizeof buffer);
        if (count > 0) received = static_cast<size_t>(count);
    }
    close(fd);
    return received == request.size();
}

}  // namespace bench
