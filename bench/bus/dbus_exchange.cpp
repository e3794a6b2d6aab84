#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "exchange.h"

namespace bench {
namespace {

constexpr char kName[] = "example.harbex.Bench";
constexpr char kPath[] = "/example/harbex/bench";
constexpr char kConfiguration[] = R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <auth>EXTERNAL</auth>
  <listen>unix:path=%s/bus</listen>
  <policy context="default">
    <allow user="*"/><allow own="*"/><allow send_destination="*"/><allow eavesdrop="false"/>
  </policy>
</busconfig>
)";

struct CloseBus {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;

void require(int result, const char* step) {
    if (result >= 0) return;
    std::fprintf(stderr, "bench_bus: %s failed: %d\n", step, result);
    std::exit(1);
}

Bus connect_to(const std::string& address) {
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus), "sd_bus_new");
    require(sd_bus_set_address(bus, address.c_str()), "sd_bus_set_address");
    require(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
    require(sd_bus_start(bus), "sd_bus_start");
    return Bus(bus);
}

int echo(sd_bus_message* request, void*, sd_bus_error*) {
    const char* text = nullptr;
    const int result = sd_bus_message_read(request, "s", &text);
    return result < 0 ? result : sd_bus_reply_method_return(request, "s", text);
}

const sd_bus_vtable kMethods[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Echo", "s", "s", echo, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

}  // namespace

DBusDaemon::DBusDaemon() {
    char folder[] = "/tmp/bench_bus_XXXXXX";
    if (mkdtemp(folder) == nullptr) std::exit(1);
    folder_ = folder;
    address_ = "unix:path=" + folder_ + "/bus";
    const std::string file = folder_ + "/bus.conf";
    std::string text = kConfiguration;
    text.replace(text.find("%s"), 2, folder_);
    std::ofstream(file) << text;
    daemon_ = fork();
    if (daemon_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--config-file", file.c_str(), nullptr);
        _exit(127);
    }
    for (int i = 0; i < 500 && access((folder_ + "/bus").c_str(), F_OK) != 0; ++i)
        usleep(10'000);
}

DBusDaemon::~DBusDaemon() {
    kill(daemon_, SIGKILL);
    waitpid(daemon_, nullptr, 0);
    std::filesystem::remove_all(folder_);
}

void serve_dbus(const std::string& address, const std::function<void()>& ready) {
    const Bus bus = connect_to(address);
    require(sd_bus_add_object_vtable(bus.get(), nullptr, kPath, kName, kMethods, nullptr),
            "sd_bus_add_object_vtable");
    require(sd_bus_request_name(bus.get(), kName, 0), "sd_bus_request_name");
    ready();
    for (;;) {
        const int result = sd_bus_process(bus.get(), nullptr);
        require(result, "sd_bus_process");
        if (result == 0) require(sd_bus_wait(bus.get(), UINT64_MAX), "sd_bus_wait");
    }
}

Exchange dbus_exchange(const std::string& address) {
    const std::shared_ptr<sd_bus> bus(connect_to(address));
    return [bus](const std::string& request) {
        sd_bus_message* reply = nullptr;
        const char* text = nullptr;
        const bool done =
            sd_bus_call_method(bus.get(), kName, kPath, kName, "Echo", nullptr, &reply, "s", request.c_str()) >= 0 &&
            sd_bus_message_read(reply, "s", &text) >= 0 && request == text;
        sd_bus_message_unref(reply);
        return done;
    };
}

}  // namespace bench
