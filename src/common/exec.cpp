#include "common/exec.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

#include <bsvc.h>

#include "common/bus_io.h"
#include "common/child_process.h"
#include "common/error_code.h"
#include "common/trace_log.h"

namespace harbex::system {
namespace {

constexpr int kDisappearRounds = 10;

struct PipeClose {
    void operator()(FILE* pipe) const { (void)::pclose(pipe); }
};

bool exited_with_0(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

pid_t wait_for(pid_t child, int& status) {
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(child, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    return reaped;
}

void sleep_one_second() {
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

}  // namespace

int do_exec(const char* command, std::string& output) {
    const std::unique_ptr<FILE, PipeClose> pipe(::popen(command, "re"));
    if (!pipe) return -1;
    try {
        char piece[512];
        while (std::fgets(piece, sizeof(piece), pipe.get()) != nullptr)
            output += piece;
    } catch (...) {  // no memory
        return -1;
    }
    return 0;
}

int do_exec_safe(const std::vector<std::string>& argv, std::string& output) {
    try {
        std::vector<char*> arguments;
        arguments.reserve(argv.size() + 1);
        // execv takes pointers to char for history's sake and does not write through them.
        for (const std::string& argument : argv)
            arguments.push_back(const_cast<char*>(argument.c_str()));
        arguments.push_back(nullptr);

        output.clear();
        if (argv.empty()) return -1;
        const bs_auto_io standard_output;
        const bs_auto_io standard_error;
        if (standard_output == nullptr || standard_error == nullptr) return -1;
        const int result = bs_io_execv(0, standard_output, standard_error, arguments.data());
        if (result != 0) return result;
        const char* const text = bs_io_read(standard_output, nullptr);
        if (text != nullptr) output = text;
        return 0;
    } catch (...) {  // no memory
        output.clear();
        return -1;
    }
}

int avoid_zombie(char* const argv[]) {
    const pid_t child = ::fork();
    if (child < 0) return -1;
    if (child > 0) ::_exit(0);
    become_program(argv);
}

int background(char* const argv[]) {
    const pid_t child = ::fork();
    if (child < 0) return ERR_BACKGROUND_PROCESS;
    if (child == 0) {
        (void)avoid_zombie(argv);  // returns only when it failed
        ::_exit(1);
    }
    // The child is rarely gone by now, and then counts as started: callers rely on not being held up.
    int status = 0;
    const pid_t reaped = ::waitpid(0, &status, WNOHANG);
    const bool failed = reaped < 0 || (reaped > 0 && !exited_with_0(status));
    if (reaped != child) {
        int ignored = 0;
        (void)wait_for(child, ignored);  // it only forks and exits: no zombie stays
    }
    return failed ? ERR_BACKGROUND_PROCESS : NO_ERROR;
}

int foreground(char* const argv[]) {
    const pid_t child = ::fork();
    if (child < 0) return ERR_BACKGROUND_PROCESS;
    if (child == 0) become_program(argv);
    int status = 0;
    if (wait_for(child, status) < 0 || !exited_with_0(status)) return ERR_BACKGROUND_PROCESS;
    sleep_one_second();
    return NO_ERROR;
}

int kill(pid_t pid, int sig) {
    if (::kill(pid, sig) != 0) return ERR_KILL_PROCESS;
    char path[32];
    (void)std::snprintf(path, sizeof(path), "/proc/%d", pid);
    for (int round = 0; round < kDisappearRounds; ++round) {
        struct stat entry;
        if (::lstat(path, &entry) != 0) break;
        sleep_one_second();
    }
    return NO_ERROR;
}

void invoke_vpn_script(const std::string& script, const std::string& action) {
    HARBEXLOG(HARBEXLOG_INFO, "Invoke VPN script by %s %s\n", script.c_str(), action.c_str());
    std::string output;
    int result = -1;
    try {
        result = do_exec_safe({script, action}, output);
    } catch (...) {  // no memory: logged below like any failure
    }
    if (result != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Fail to %s VPN by %s, output: %s\n", action.c_str(), script.c_str(),
                  output.c_str());
    }
}

}  // namespace harbex::system
