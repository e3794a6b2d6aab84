#include "service/service_host.h"

#include <bsvc.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "common/service_names.h"
#include "service/logger.h"
#include "service/method_table.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

// Passed to the bus as they are.
constexpr int kBusWorkers = 4;
constexpr int kBusFlags = 1;

bs_service* handle = nullptr;

// May come before there is a handle; the bus remembers that.
void onSignal(int) {
    bs_stop(handle);
}

// The file behind a /proc/…/exe link; empty when it cannot be read.
std::string read_link(const char* path) {
    char target[4096] = {};
    const ssize_t length = readlink(path, target, sizeof target - 1);
    return length < 1 ? std::string() : std::string(target, static_cast<size_t>(length));
}

// What a live process `pid` means for a start: 0, or -E_SERVICE_EXIST.
int judge_live_process(int pid, const char* pid_file) {
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/exe", pid);
    const std::string theirs = read_link(path);
    const std::string ours = read_link("/proc/self/exe");
    if (theirs.empty() || ours.empty()) {
        Logger::Log(DEBUG, "Unable to verify process identity for PID %d, assuming it's our process", pid);
    } else if (theirs != ours) {
        Logger::Log(DEBUG, "PID %d is different process (%s), cleaning up stale PID file", pid, theirs.c_str());
        unlink(pid_file);
        return 0;
    }
    Logger::Log(ERROR, "Process already running, PID: %d", pid);
    return -E_SERVICE_EXIST;
}

}  // namespace

int check_previous_process(const char* pid_file) {
    std::ifstream file(pid_file);
    if (!file) return 0;
    int pid = 0;
    if (!(file >> pid) || pid <= 0) {
        Logger::Log(ERROR, "Invalid PID in file %s", pid_file);
        file.close();
        unlink(pid_file);
        return 0;
    }
    file.close();

    if (::kill(pid, 0) == 0) return judge_live_process(pid, pid_file);
    const int error = errno;
    if (error == EPERM) {
        Logger::Log(ERROR, "Process already running, PID: %d (permission denied)", pid);
        return -E_SERVICE_EXIST;
    }
    if (error == ESRCH) {
        Logger::Log(DEBUG, "Removing stale PID file (process %d not found)", pid);
        unlink(pid_file);
    } else {
        Logger::Log(DEBUG, "kill() failed with errno %d, allowing startup", error);
    }
    return 0;
}

void detach() {
    const pid_t child = fork();
    if (child < 0) exit(1);
    if (child > 0) exit(0);
    // A start in an odd environment still is a start: none of these results stops it.
    (void)setsid();
    for (int fd = 0; fd <= 2; fd++)
        close(fd);
    (void)open("/dev/null", O_RDWR);
    [[maybe_unused]] const int out = dup(0);
    [[maybe_unused]] const int err = dup(0);
    [[maybe_unused]] const int changed = chdir("/");
}

void write_pid() {
    std::ofstream file(kPidFile, std::ios::trunc);
    if (file) file << getpid() << std::flush;
    if (!file) {
        Logger::Log(ERROR, "Failed to open PID file: %s", kPidFile);
        exit(1);
    }
    Logger::Log(DEBUG, "PID: %d", static_cast<int>(getpid()));
}

int serve() {
    Logger::Log(DEBUG, "===== harbex_network_service START =====");
    bs_signal(SIGINT, onSignal);
    bs_signal(SIGTERM, onSignal);
    sort_methods();
    handle = bs_create(system::kNetworkService, kBusWorkers, kBusFlags, service_handler);
    if (handle == nullptr) {
        Logger::Log(ERROR, "Failed to register harbex_network_service on the bus, errno %d", errno);
        return 1;
    }
    Logger::Log(DEBUG, "Starting handler");
    (void)bs_start(handle);  // it returns when it is stopped; nothing is left to do about its result
    Logger::Log(DEBUG, "Handler stopped");
    bs_free(handle);
    return 0;
}

}  // namespace harbex::service
