// The real daemon, started, watched and stopped from outside, with what it wrote to its log.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/bus_call.h"
#include "support/files.h"
#include "support/run_program.h"
#include "support/log_reader.h"

namespace harbex::test {

inline constexpr const char* kDaemonService = "harbex_network_service";
inline constexpr const char* kPidFile = "/var/run/network/harbex_network_service.pid";
inline constexpr const char* kRegistry = "/etc/config/bpkg.conf";

inline bool wait_until(const std::function<bool()>& condition,
                       std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

inline std::string install_path() {
    std::string path = run_program({"/sbin/getcfg", "Harbex", "Install_Path", "-f", kRegistry}).out;
    path.erase(path.find_last_not_of('\n') + 1);
    return path;
}

inline std::string daemon_program() {
    static const std::string program = install_path() + "/bin/harbex_network_service";
    return program;
}

inline std::string daemon_log() {
    static const std::string log = install_path() + "/var/log/harbex_network_service.log";
    return log;
}

// True once the daemon answers. The question reaches no method, so that it leaves no line in the log.
inline bool answers() {
    return bus_call(kDaemonService, "?", "", 5).result == BS_CALL_OK;
}

// What the service log gained since a reader was made or last asked; each line as "LEVEL message", without its time.
class ServiceLogReader {
public:
    explicit ServiceLogReader(std::string path = daemon_log()) : path_(std::move(path)) { (void)lines(); }

    std::vector<std::string> lines() {
        const std::string text = read_text(path_);
        if (text.size() < position_) position_ = 0;  // rotated
        const std::string gained = text.substr(position_);
        position_ = text.size();
        return log_lines(gained);
    }

    // What it gains until one of the lines is `last`: the daemon logs on after it has replied.
    std::vector<std::string> lines_until(const std::string& last,
                                         std::chrono::seconds limit = std::chrono::seconds(60)) {
        std::vector<std::string> found;
        const auto take = [&] {
            for (std::string& line : lines())
                found.push_back(std::move(line));
            return std::find(found.begin(), found.end(), last) != found.end();
        };
        wait_until(take, limit);
        return found;
    }

    // The first call that finds its method reopens the log behind its reply, and lines are dropped meanwhile. Returns
    // when that is over, the lines so far read. For a network manager that is absent or hangs up.
    bool settle() {
        const std::string last = "ERROR method: Get_port_status Callback failed, Ret: 1004";
        int calls = 0;
        return wait_until([&] {
            (void)bus_call(kDaemonService, "Get_port_status");
            const bool whole = lines_until(last, std::chrono::seconds(1)).size() == kLinesOfAFailure;
            return whole && calls++ > 0;
        });
    }

private:
    static constexpr size_t kLinesOfAFailure = 7;

    std::string path_;
    size_t position_ = 0;
};

// A daemon in the foreground. Ended with SIGTERM at the latest at the end of the scope.
class Daemon {
public:
    explicit Daemon(void (*prepare)() = nullptr)
        : out_(memfd_create("out", MFD_CLOEXEC)),
          err_(memfd_create("err", MFD_CLOEXEC)),
          pid_(start_program({daemon_program(), "foreground"}, out_, err_, prepare)) {
        serving_ = wait_until([this] { return answers() || has_ended(); }) && !has_ended();
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

    // Sends `signo` (0: only waits) and waits for the end.
    Finished stop(int signo = SIGTERM) {
        if (signo != 0) ::kill(pid_, signo);
        const int status = wait_for(pid_);
        pid_ = -1;
        return {status, take_all(out_), take_all(err_)};
    }

private:
    bool has_ended() const {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
    }

    int out_;
    int err_;
    pid_t pid_;
    bool serving_ = false;
};

// A daemon in the background; it becomes a child of this program, so that its exit status can be had.
class BackgroundDaemon {
public:
    BackgroundDaemon() {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        starter_ = run_program({daemon_program()});
        if (starter_.status == 0 && wait_until(answers)) pid_ = std::atoi(read_text(kPidFile).c_str());
    }
    ~BackgroundDaemon() {
        if (pid_ > 0) (void)stop();
        prctl(PR_SET_CHILD_SUBREAPER, 0);
    }
    BackgroundDaemon(const BackgroundDaemon&) = delete;
    void operator=(const BackgroundDaemon&) = delete;

    const Finished& starter() const { return starter_; }
    pid_t pid() const { return pid_; }
    int stop(int signo = SIGTERM) {
        ::kill(pid_, signo);
        return wait_for(std::exchange(pid_, -1));
    }

private:
    Finished starter_;
    pid_t pid_ = -1;
};

}  // namespace harbex::test
