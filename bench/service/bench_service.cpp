// What people and the daemon's callers wait for, each beside its floor: the exchanges, log lines and tool runs that
// its contract fixes, done in the plainest way. Runs in an appliance with all services.
#include <jansson.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "bsvc.h"
#include "exchange.h"
#include "measure.h"

namespace {

using bench::Must;

constexpr int kCalls = 1000;
constexpr int kToolCalls = 200;
constexpr int kStarts = 15;
constexpr char kDaemon[] = "harbex_network_service";
constexpr char kDaemonLog[] = "/opt/harbex/var/log/harbex_network_service.log";

// What the network manager answers on a NAS with one interface.
constexpr std::string_view kGatewayReply =
    R"({"error": 0, "data": [{"ifname": "eth0", "display_name": "Adapter 1", "interface_type": "ethernet", "metric": )"
    R"(100, "status": {"link_running": 1, "vlan_id": 0, "display_name": "Adapter 1", "ip4_type": "static", )"
    R"("physical_loc": "NAS Port 1", "IPv4": [{"ip": "192.168.1.10", "netmask": "255.255.255.0"}], "IPv6": [], )"
    R"("tx_bytes_count": 90, "rx_bytes_count": 266, "tx_packets_count": 1, "rx_packets_count": 3}}]})";

std::string call(const char* service, const char* method, std::string_view request = "") {
    bs_io* io = bs_io_create();
    (void)bs_io_write(io, request.data(), request.size());
    const int result = bs_call(service, method, io, 60, -1);
    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    std::string reply = result == 0 && bytes != nullptr ? std::string(bytes, length) : "";
    bs_io_free(io);
    return reply;
}

void shell(const std::string& command) {
    bench::run_program({"/usr/bin/bash", "-ec", command});
}

double daemon_us(const char* method, int count = kCalls) {
    return bench::time_each_us(
        count, [&] { bench::require(call(kDaemon, method).find(R"("error": 0)") != std::string::npos, method); });
}

long lines_of(const std::string& file) {
    std::ifstream text(file);
    long count = 0;
    for (std::string line; std::getline(text, line);)
        ++count;
    return count;
}

long log_lines_of(const char* method) {
    const long before = lines_of(kDaemonLog);
    (void)call(kDaemon, method);
    usleep(100'000);  // it logs on behind its reply
    return lines_of(kDaemonLog) - before;
}

void write_line(std::FILE* log) {
    const time_t now = std::time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    std::fprintf(log, "[%s][%s] %s\n", text, "DEBUG", "==============API: Flush_timeout==================");
    std::fflush(log);
}

void compare_flush() {
    const long lines = log_lines_of("Flush_timeout");
    const bench::Server floor(
        [&](const auto& ready) {
            std::FILE* log = std::fopen("/tmp/bench_service.log", "ae");
            bench::serve_bare(4, ready, [&] {
                for (long i = 0; i < lines; ++i)
                    write_line(log);
            });
        },
        bench::Session::kOwn);
    const std::string text(86, 'x');  // as long as the reply
    bench::compare(
        "Flush_timeout / bare exchange and its " + std::to_string(lines) + " log lines to an open file", "µs",
        Must::kAtMost, 1.4, [] { return daemon_us("Flush_timeout"); },
        [&] { return bench::time_each_us(kCalls, [&] { (void)bench::exchange_bare(text); }); });
}

void answer_as_manager(const char*, bs_io* io, int fd) {
    (void)bs_io_realloc(io, 0);
    (void)bs_io_write(io, kGatewayReply.data(), kGatewayReply.size());
    (void)bs_reply(io);
    bs_io_free(io);
    close(fd);
}

// What the method does between its two exchanges, in the plainest way: jansson reads the answer, builds the reply and
// writes it, and the lines go to an open file.
void answer_plainly(const json_t* reply, long lines, std::FILE* log) {
    json_t* answer = json_loadb(kGatewayReply.data(), kGatewayReply.size(), 0, nullptr);
    json_t* built = json_deep_copy(reply);
    char* text = json_dumps(built, 0);
    for (long i = 0; i < lines; ++i)
        write_line(log);
    std::free(text);
    json_decref(built);
    json_decref(answer);
}

void compare_gateway() {
    shell("appliance-service stop NetworkService");
    {
        const bench::Server manager(
            [](const auto& ready) {
                bs_service* service = bs_create("NetworkService", 4, 0, answer_as_manager);
                ready();
                bs_start(service);
            },
            bench::Session::kOwn);
        const bench::Server echo([](const auto& ready) { bench::serve_bus(4, ready); }, bench::Session::kOwn);
        const long lines = log_lines_of("Get_gateway_info");
        const std::string text = call(kDaemon, "Get_gateway_info");
        json_t* const reply = json_loadb(text.data(), text.size(), 0, nullptr);
        std::FILE* const log = std::fopen("/tmp/bench_service.log", "ae");
        bench::require(reply != nullptr && log != nullptr, "Get_gateway_info");
        const auto two_calls = [&text] {
            (void)bench::exchange_bus(text);
            (void)call("NetworkService", "api.get_currentGWinfo");
        };
        bench::compare(
            "Get_gateway_info / two bus calls of its sizes, jansson's work and its " + std::to_string(lines) +
                " log lines to an open file",
            "µs", Must::kAtMost, 1.3, [] { return daemon_us("Get_gateway_info"); },
            [&] {
                return bench::time_each_us(kCalls, [&] {
                    two_calls();
                    answer_plainly(reply, lines, log);
                });
            });
        bench::compare(
            "Get_gateway_info / the two bus calls alone", "µs", Must::kReport, 0,
            [] { return daemon_us("Get_gateway_info"); }, [&] { return bench::time_each_us(kCalls, two_calls); });
        std::fclose(log);
        json_decref(reply);
    }
    shell("appliance-service start NetworkService");
}

constexpr char kBid[] = "/etc/config/harbex/bid.conf";

// How often the daemon runs getcfg for a call: a script in its place counts.
long tool_runs_of(const char* method) {
    shell(
        "rm -f /tmp/runs; mv /sbin/getcfg /sbin/getcfg.real;"
        "printf '#!/bin/sh\\necho >>/tmp/runs\\nexec /sbin/getcfg.real \"$@\"\\n' >/sbin/getcfg;"
        "chmod 755 /sbin/getcfg");
    (void)call(kDaemon, method);
    shell("mv /sbin/getcfg.real /sbin/getcfg");
    return lines_of("/tmp/runs");
}

void compare_token() {
    bench::run_program({"/sbin/setcfg", "Brindle ID Service", "VELLUM_TOKEN", "va1.measured.4102444800", "-f", kBid});
    const long runs = tool_runs_of("Get_cloudtoken");
    const bench::Server echo([](const auto& ready) { bench::serve_bus(4, ready); }, bench::Session::kOwn);
    const std::string text(call(kDaemon, "Get_cloudtoken").size(), 'x');
    bench::compare(
        "Get_cloudtoken, token valid / a bus call and its " + std::to_string(runs) + " getcfg run(s)", "µs",
        Must::kAtMost, 1.3, [] { return daemon_us("Get_cloudtoken", kToolCalls); },
        [&] {
            return bench::time_each_us(kToolCalls, [&] {
                (void)bench::exchange_bus(text);
                for (long i = 0; i < runs; ++i)
                    bench::run_program({"/sbin/getcfg", "Brindle ID Service", "VELLUM_TOKEN", "-f", kBid});
            });
        });
}

// From the start of a program to the first answer; its end is not counted.
double start_us(const std::string& program, const char* argument, const std::function<bool()>& answers) {
    double total_us = 0;
    for (int i = 0; i < kStarts; ++i) {
        pid_t child = -1;
        total_us += bench::time_each_us(1, [&] {
            child = bench::start_program({program, argument});
            while (!answers())
                usleep(100);
        });
        kill(child, SIGTERM);
        waitpid(child, nullptr, 0);
    }
    return total_us / kStarts;
}

void compare_start() {
    shell("appliance-service stop harbex_network_service");
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string floor = self.parent_path() / "answer_once";
    bench::compare(
        "start to first answer / start with its libraries, two getcfg runs, one exchange", "µs", Must::kAtMost, 1.4,
        [] {
            return start_us("/opt/harbex/bin/harbex_network_service", "foreground",
                            [] { return !call(kDaemon, "?").empty(); });
        },
        [&] { return start_us(floor, "", [] { return bench::exchange_bare("x"); }); });
    shell("appliance-service start harbex_network_service");
}

void compare_status() {
    shell(
        "cloudctl set '{\"virtual_ip\": \"10.8.0.5\"}'; signin | harbexctl sign-in;"
        "harbexctl org use org-7f3a1c Office; harbexctl region use auto; harbexctl join;"
        "fault corvane_expressd.GetCloudStatus delay:0.2");
    bench::compare(
        "harbexctl status, joined / its slowest source (0.2 s) + 20 ms", "µs", Must::kAtMost, 1,
        [] {
            return bench::time_each_us(5, [] {
                bench::run_program({"/usr/local/bin/harbexctl", "status", "--json"});
            });
        },
        [] { return 20'000 + bench::time_each_us(5, [] { (void)call("corvane_expressd", "GetCloudStatus"); }); });
    shell("fault corvane_expressd.GetCloudStatus none");
}

}  // namespace

int main() {
    // On one processor, where the scheduler has no choice, the daemon included.
    bench::pin_to(0);
    shell("appliance-service stop harbex_network_service; appliance-service start harbex_network_service");
    compare_flush();
    compare_gateway();
    compare_token();
    compare_start();
    compare_status();
}
