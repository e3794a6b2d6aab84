#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/bus_call.h"
#include "support/log_reader.h"
#include "support/run_program.h"

namespace harbex::test {

inline constexpr const char* kDaemonService = "harbex_network_service";
inline constexpr const char* kDaemonProgram = "/opt/harbex/bin/harbex_network_service";
inline constexpr const char* kDaemonLog = "/opt/harbex/var/log/harbex_network_service.log";
inline constexpr const char* kPidFile = "/var/run/network/harbex_network_service.pid";

// True once the daemon answers. The question reaches no method, so that it leaves no line in the log.
inline bool answers() {
    return bus_call(kDaemonService, "?", "", 5).result == BS_CALL_OK;
}

// Adds to `lines` until the last begins with `head`: the daemon logs on after it has replied.
inline bool wait_for_line(LogReader& log, const std::string& head, std::vector<std::string>& lines) {
    return wait_until([&] {
        for (std::string& line : log.lines())
            lines.push_back(std::move(line));
        return !lines.empty() && lines.back().starts_with(head);
    });
}

// A daemon in the foreground. Ended with SIGTERM at the latest at the end of the scope.
class Daemon {
public:
    explicit Daemon(void (*prepare)() = nullptr)
        : out_(memfd_create("out", MFD_CLOEXEC)),
          err_(memfd_create("err", MFD_CLOEXEC)),
          pid_(start_program({kDaemonProgram, "foreground"}, out_, err_, prepare)) {
        serving_ = wait_until(answers);
    }
    ~Daemon() {
        if (pid_ > 0) (void)stop();
    }
    Daemon(const Daemon&) = delete;
    void operator=(const Daemon&) = delete;

    bool serving() const { return serving_; }
    pid_t pid() const { return pid_; }
    std::filesystem::path proc(const std::string& entry) const {
        return "/proc/" + std::to_string(pid_) + "/" + entry;
    }
    size_t open_descriptors() const {
        const std::filesystem::directory_iterator entries(proc("fd"));
        return static_cast<size_t>(std::distance(begin(entries), end(entries)));
    }

    // The first call that finds its method reopens the log behind its reply, and lines are dropped meanwhile. Waits
    // until a later one has left all its lines: for a minute the log is whole.
    bool settle_log() const {
        constexpr size_t kLinesOfFlush = 3;
        const std::string rotated = std::string(kDaemonLog) + ".lock";
        std::filesystem::remove(rotated);
        LogReader log(kDaemonLog);
        return wait_until([&] {
            const bool reopening = std::filesystem::exists(rotated);
            (void)log.lines();
            (void)bus_call(kDaemonService, "Flush_timeout");
            return reopening && log.lines().size() == kLinesOfFlush;
        });
    }

    // Sends `signo` (0: only waits) and waits for the end.
    Finished stop(int signo = SIGTERM) {
        if (signo != 0) ::kill(pid_, signo);
        const int status = wait_for(pid_);
        pid_ = -1;
        return {status, take_all(out_), take_all(err_)};
    }

private:
    int out_;
    int err_;
    pid_t pid_;
    bool serving_ = false;
};

}  // namespace harbex::test
