// How costs grow: by a request's size, the number of clients, the length of a log, of a settings file and of the
// process table.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "common/process_table.h"
#include "common/trace_log.h"
#include "exchange.h"
#include "measure.h"

namespace {

constexpr size_t kKiB = 1024;

void grow_with_request() {
    const bench::Server bus([](const auto& ready) { bench::serve_bus(4, ready); });
    bench::grow("bus call, bytes", {64, kKiB, 16 * kKiB, 256 * kKiB, 1024 * kKiB - 16}, [](size_t size) {
        const std::string request(size, 'x');
        return bench::time_each_us(200, [&] { bench::require(bench::exchange_bus(request), "a bus call failed"); });
    });
}

void grow_with_clients() {
    const bench::Server bus([](const auto& ready) { bench::serve_bus(4, ready); });
    const std::string request(64, 'x');
    bench::grow("50 bus calls of each client, clients", {1, 4, 16, 64}, [&](size_t count) {
        return bench::time_each_us(3, [&] {
            std::vector<std::jthread> clients;
            for (size_t i = 0; i < count; ++i)
                clients.emplace_back([&] {
                    for (int call = 0; call < 50; ++call)
                        bench::require(bench::exchange_bus(request), "a bus call failed");
                });
        });
    });
}

void log_line() {
    using harbex::system::_iot_lock_fd;
    HARBEXLOG(HARBEXLOG_INFO, "A line of %s\n", "the measurement");
}

void grow_with_log() {
    std::snprintf(__log_file__, sizeof __log_file__, "%s", "/tmp/bench_growth.log");
    bench::grow("a trace statement, bytes in the log", {kKiB, 64 * kKiB, 1024 * kKiB, 2000 * kKiB}, [](size_t size) {
        std::ofstream(__log_file__) << std::string(size, '\n');
        return bench::time_each_us(200, log_line);
    });
    std::filesystem::remove(__log_file__);
}

void grow_with_settings() {
    const std::string file = "/tmp/bench_growth.conf";
    const auto fill = [&](size_t count) {
        std::ofstream out(file);
        out << "[Settings]\n";
        for (size_t key = 0; key < count; ++key)
            out << "key_" << key << " = value of " << key << "\n";
    };
    const std::vector<size_t> counts = {1, 10, 100, 1000, 10'000};
    bench::grow("getcfg, keys in the file", counts, [&](size_t count) {
        fill(count);
        return bench::time_each_us(20, [&] {
            bench::run_program({"/sbin/getcfg", "Settings", "key_0", "-f", file});
        });
    });
    bench::grow("setcfg, keys in the file", counts, [&](size_t count) {
        fill(count);
        int value = 0;
        return bench::time_each_us(10, [&] {
            bench::run_program({"/sbin/setcfg", "Settings", "key_0", std::to_string(++value), "-f", file});
        });
    });
    std::filesystem::remove(file);
}

void grow_with_processes() {
    std::vector<pid_t> sleepers;
    bench::grow("process table, processes", {10, 100, 1000, 5000}, [&](size_t count) {
        while (sleepers.size() < count) {
            sleepers.push_back(fork());
            bench::require(sleepers.back() >= 0, "no more processes");
            if (sleepers.back() == 0) {
                pause();
                _exit(0);
            }
        }
        while (sleepers.size() > count) {
            kill(sleepers.back(), SIGKILL);
            waitpid(sleepers.back(), nullptr, 0);
            sleepers.pop_back();
        }
        harbex::system::VpnProcess table;
        return bench::time_each_us(3, [&] { (void)table.update(); });
    });
    for (const pid_t sleeper : sleepers) {
        kill(sleeper, SIGKILL);
        waitpid(sleeper, nullptr, 0);
    }
}

}  // namespace

int main() {
    grow_with_request();
    grow_with_clients();
    grow_with_log();
    grow_with_settings();
    grow_with_processes();
}
