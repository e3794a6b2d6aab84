// The relay behind `fault`: has a service's name on the bus and passes every call on to the service itself, which
// answers under another name, unless a file named SERVICE.METHOD tells that the method is to fail.
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "bsvc.h"

namespace {

constexpr int kWorkers = 8;
constexpr int kRelayTimeout_s = 120;

struct Relay {
    std::string service;
    std::string target;
    std::string faults;
};
Relay relay;
bs_service* running = nullptr;

std::optional<std::string> fault_of(const std::string& method) {
    std::ifstream file(relay.faults + "/" + relay.service + "." + method);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void sleep_for(double seconds) {
    timespec pause{};
    pause.tv_sec = static_cast<time_t>(seconds);
    pause.tv_nsec = static_cast<long>((seconds - static_cast<double>(pause.tv_sec)) * 1e9);
    nanosleep(&pause, nullptr);
}

void answer(const char* method, bs_io* io) {
    std::string fault = fault_of(method).value_or("");
    constexpr std::string_view kDelay = "delay:";
    constexpr std::string_view kBody = "body:";
    if (fault.starts_with(kDelay)) {
        const size_t comma = fault.find(',');
        sleep_for(std::strtod(fault.c_str() + kDelay.size(), nullptr));
        fault = comma == std::string::npos ? "" : fault.substr(comma + 1);
    }
    if (fault == "close") return;
    if (fault.starts_with(kBody)) {
        bs_io_realloc(io, 0);
        bs_io_write(io, fault.data() + kBody.size(), fault.size() - kBody.size());
        bs_reply(io);
        return;
    }
    // A call that fails behind the relay fails in front of it, too: the connection ends without a reply.
    bs_io* call = bs_io_create();
    size_t length = 0;
    if (const char* bytes = bs_io_read(io, &length)) bs_io_write(call, bytes, length);
    if (bs_call(relay.target.c_str(), method, call, kRelayTimeout_s, -1) == 0) {
        bs_io_realloc(io, 0);
        length = 0;
        if (const char* bytes = bs_io_read(call, &length)) bs_io_write(io, bytes, length);
        bs_reply(io);
    }
    bs_io_free(call);
}

void handle(const char* method, bs_io* io, int fd) {
    answer(method, io);
    bs_io_free(io);
    close(fd);
}

void stop(int) {
    bs_stop(running);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bus_fault SERVICE TARGET FAULTS\n");
        return 64;
    }
    relay = {argv[1], argv[2], argv[3]};
    bs_signal(SIGINT, stop);
    bs_signal(SIGTERM, stop);
    running = bs_create(argv[1], kWorkers, 1, handle);
    if (running == nullptr) {
        std::perror("bus_fault: bs_create");
        return 1;
    }
    bs_start(running);
    bs_free(running);
    return 0;
}
