#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace harbex::test {

struct Finished {
    int status;  // the exit status, or 128 and the signal
    std::string out;
    std::string err;
};

// Starts a program; `prepare` runs in the child right before it. Its output and error go to the descriptors given.
inline pid_t start_program(const std::vector<std::string>& command, int out, int err, void (*prepare)() = nullptr) {
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (const std::string& word : command)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (prepare != nullptr) prepare();
    execv(argv[0], argv.data());
    _exit(127);
}

inline int wait_for(pid_t child) {
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

inline std::string take_all(int file) {
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    if (pread(file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) text = "(unreadable)";
    close(file);
    return text;
}

inline Finished run_program(const std::vector<std::string>& command, void (*prepare)() = nullptr) {
    const int out = memfd_create("out", MFD_CLOEXEC);
    const int err = memfd_create("err", MFD_CLOEXEC);
    const int status = wait_for(start_program(command, out, err, prepare));
    return {status, take_all(out), take_all(err)};
}

// A process of its own for what changes a whole process: its signals, its user, its limits. 0 is its success.
inline int run_apart(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return wait_for(child);
}

inline std::string self_signed_certificate(const std::string& extension = "subjectAltName=DNS:t") {
    return run_program({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                        "-nodes", "-keyout", "/dev/null", "-subj", "/CN=t", "-addext", extension})
        .out;
}

// Waits for something that is about to happen; false when it does not within a time no healthy machine needs.
inline bool wait_until(const std::function<bool()>& condition,
                       std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace harbex::test
