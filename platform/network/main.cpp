// The NAS's network manager on the service bus, answering from the kernel's own tables.
#include <bsvc.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "base/stream_owner.h"
#include "methods.h"

namespace {

constexpr int kWorkers = 4;

bs_service* service = nullptr;        // set before the first signal can be delivered
network::Methods* methods = nullptr;  // outlives the service's threads

void serve(const char* method, bs_io* io, int fd) {
    const nas::StreamOwner owner(io);
    std::size_t length = 0;
    const char* body = bs_io_read(io, &length);
    const std::string reply = methods->answer(method, body == nullptr ? "" : std::string_view(body, length));
    // Without an envelope (no memory) the caller sees its connection closed. One that hung up is past helping.
    if (!reply.empty() && bs_io_realloc(io, 0) == 0 &&
        bs_io_write(io, reply.data(), reply.size()) == static_cast<ssize_t>(reply.size()))
        (void)bs_reply(io);
    close(fd);
}

void stop(int) {
    bs_stop(service);
}

}  // namespace

int main() {
    if (bs_signal(SIGINT, stop) != 0 || bs_signal(SIGTERM, stop) != 0) {
        std::perror("NetworkService: cannot take its signals");
        return 1;
    }
    network::Methods own_methods;
    methods = &own_methods;
    service = bs_create("NetworkService", kWorkers, 0, serve);
    if (service == nullptr) {
        std::fprintf(stderr, "NetworkService: cannot take its name on the bus: %s\n", std::strerror(errno));
        return 1;
    }
    const int result = bs_start(service);
    bs_free(service);
    return result == 0 ? 0 : 1;
}
