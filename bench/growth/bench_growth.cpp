// How costs grow: by a request's size, the number of clients, the length of a log, of a settings file and of the
// process table.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
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

// What the table cannot do without: the kernel's list, and each command line opened and read once.
void read_command_lines() {
    DIR* proc = opendir("/proc");
    if (proc == nullptr) return bench::require(false, "no /proc");
    while (const dirent* entry = readdir(proc)) {
        if (std::strtol(entry->d_name, nullptr, 10) == 0) continue;
        const int file = open(("/proc/" + std::string(entry->d_name) + "/cmdline").c_str(), O_RDONLY | O_CLOEXEC);
        char text[4096];
        (void)!read(file, text, sizeof text);
        close(file);
    }
    closedir(proc);
}

// The kernel itself needs longer for each process the more there are, so the table is measured beside the bare walk:
// a row is how both have grown since ten processes.
void grow_with_processes() {
    std::vector<pid_t> sleepers;
    const auto start_up_to = [&](size_t count) {
        while (sleepers.size() < count) {
            sleepers.push_back(fork());
            bench::require(sleepers.back() >= 0, "no more processes");
            if (sleepers.back() == 0) {
                pause();
                _exit(0);
            }
        }
    };
    harbex::system::VpnProcess table;
    const auto table_us = [&] { return bench::time_each_us(5, [&] { (void)table.update(); }); };
    const auto bare_us = [] { return bench::time_each_us(5, read_command_lines); };
    start_up_to(10);
    const double table_of_ten_us = table_us();
    const double bare_of_ten_us = bare_us();
    for (const size_t count : {100U, 1000U, 5000U}) {
        start_up_to(count);
        bench::compare(
            "process table, processes: " + std::to_string(count) + " / 10, beside a bare walk of /proc", "×",
            bench::Must::kAtMost, 1.1, [&] { return table_us() / table_of_ten_us; },
            [&] { return bare_us() / bare_of_ten_us; });
    }
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
