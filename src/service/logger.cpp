#include "service/logger.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <mutex>
#include <ostream>
#include <vector>

#include "common/config_store.h"
#include "common/output_file.h"
#include "common/settings_files.h"
#include "common/trace_log.h"

namespace harbex::service {

std::ostream* Logger::out = nullptr;

namespace {

constexpr int64_t kRotationCheckInterval_s = 61;

struct State {
    std::mutex mutex;
    system::OutputFile file;            // guarded by mutex, and so is Logger::out
    std::string log_absolute_path;      // guarded by mutex
    std::string bpkg_install_path;      // guarded by mutex
    int64_t last_rotation_check_s = 0;  // guarded by mutex
    time_t written_at = -1;             // guarded by mutex; when the latest line was written
    std::array<char, 32> time_text{};   // guarded by mutex; that second
    bool rotating = false;  // guarded by mutex; the thread that set it is the only one that reopens the file
};

// Never destroyed: a thread may still write while the process ends.
State& state() {
    static State& the_state = *new State;
    return the_state;
}

// However a rotation ends, a later call gets its turn.
struct RotationTurn {
    RotationTurn() = default;
    RotationTurn(const RotationTurn&) = delete;
    void operator=(const RotationTurn&) = delete;
    ~RotationTurn() {
        const std::lock_guard lock(state().mutex);
        state().rotating = false;
    }
};

const char* level_word(LogLevel level) {
    switch (level) {
        case DEBUG:
            return "DEBUG";
        case ERROR:
            return "ERROR";
        case INFO:
        case FATAL:
            break;
    }
    return "UNKNOWN";
}

// A call writes several lines in one second: its text is made once. Under the mutex.
const char* time_text(State& log) {
    const time_t now = time(nullptr);
    if (now == log.written_at) return log.time_text.data();
    struct tm local {};
    log.time_text[0] = '\0';
    if (localtime_r(&now, &local) != nullptr)
        strftime(log.time_text.data(), log.time_text.size(), "%Y-%m-%d %H:%M:%S", &local);
    log.written_at = now;
    return log.time_text.data();
}

[[gnu::format(printf, 2, 0)]] void write_message(std::ostream& stream, const char* fmt, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::array<char, 512> fixed;
    // The analyzer does not see that a parameter has been started by the caller.
    const int length = vsnprintf(fixed.data(), fixed.size(), fmt, arguments);  // NOLINT(clang-analyzer-valist.*)
    if (length >= 0 && static_cast<size_t>(length) < fixed.size()) {
        stream.write(fixed.data(), length) << '\n';
    } else if (length >= 0) {
        std::vector<char> whole(static_cast<size_t>(length) + 1);
        vsnprintf(whole.data(), whole.size(), fmt, again);
        stream.write(whole.data(), length) << '\n';
    }
    // A message that cannot be formatted leaves its prefix alone on an unfinished line.
    va_end(again);
}

}  // namespace

void Logger::Log(LogLevel level, const char* fmt, ...) noexcept {
    va_list arguments;
    va_start(arguments, fmt);
    try {
        const std::lock_guard lock(state().mutex);
        if (out != nullptr) {
            *out << '[' << time_text(state()) << "][" << level_word(level) << "] ";
            write_message(*out, fmt, arguments);
            out->flush();
        }
    } catch (...) {
        // Short of memory: this line is lost, the caller goes on.
    }
    va_end(arguments);
}

void init_logger() {
    std::string path = "/var/log/network/harbex_network_service.log";
    std::string install_path;
    if (system::getcfg_wrapper(system::kInstallPath, install_path) == 0) {
        path = install_path + "/var/log/harbex_network_service.log";
    }

    const std::lock_guard lock(state().mutex);
    state().bpkg_install_path = install_path;
    state().log_absolute_path = path;
    if (!state().file.open(path, O_APPEND)) {
        std::cerr << "Failed to open log file: " + path + "\n";
        // No destructor may run here: on the request path other threads are still at work.
        _exit(1);
    }
    Logger::out = &state().file;
}

std::string current_log_path() {
    const std::lock_guard lock(state().mutex);
    return state().log_absolute_path;
}

bool is_rotation_due(int64_t now_s, int64_t last_s) {
    return now_s - last_s >= kRotationCheckInterval_s;
}

void check_log_rotation() {
    State& log = state();
    std::string path = current_log_path();
    {
        const std::lock_guard lock(log.mutex);
        if (log.rotating || !is_rotation_due(time(nullptr), log.last_rotation_check_s)) return;
        log.rotating = true;
        Logger::out = nullptr;
        log.file.close();
    }
    const RotationTurn turn;
    // Not under the mutex: rotation waits for a lock file and init_logger for a child process.
    system::log_rotate(path.c_str());
    init_logger();

    const std::lock_guard lock(log.mutex);
    log.last_rotation_check_s = time(nullptr);
}

}  // namespace harbex::service
