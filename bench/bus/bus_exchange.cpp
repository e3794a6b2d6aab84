#include <unistd.h>

#include "bsvc.h"
#include "exchange.h"

namespace bench {
namespace {

constexpr char kService[] = "bench_bus";

void echo(const char*, bs_io* io, int fd) {
    (void)bs_reply(io);
    bs_io_free(io);
    close(fd);
}

}  // namespace

void serve_bus(int workers, const std::function<void()>& ready) {
    bs_service* service = bs_create(kService, workers, 1, echo);
    if (service == nullptr) return;
    ready();
    bs_start(service);
    bs_free(service);
}

bool exchange_bus(const std::string& request) {
    bs_io* io = bs_io_create();
    size_t received = 0;
    if (bs_io_write(io, request.data(), request.size()) >= 0 && bs_call(kService, "api.echo", io, 60, -1) == 0)
        (void)bs_io_read(io, &received);
    bs_io_free(io);
    return received == request.size();
}

}  // namespace bench
