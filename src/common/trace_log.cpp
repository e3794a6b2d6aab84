#include "common/trace_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "common/config_store.h"
#include "common/file_descriptor.h"
#include "common/file_lock.h"
#include "common/settings_files.h"
#include "common/trace_lock.h"

#define DEFAULT_LOG_FILE "/var/log/network/Harbex.log"  // a macro: an array cannot be initialised from a constant

int32_t __cur_level__ = HARBEXLOG_DEBUG;
int32_t __cur_type__ = HARBEXLOG_TYPE_FILE;
char __log_file__[256] = DEFAULT_LOG_FILE;

namespace harbex::corvane {
int32_t _iot_lock_fd = -1;
}
namespace harbex::system {
int32_t _iot_lock_fd = -1;
}

namespace harbex::system {
namespace {

constexpr int kLevelBand = 10;

// One statement at a time: all its steps, the lock descriptor and the path belong to the thread that holds this.
constinit std::mutex statement_mutex;
static_assert(std::is_trivially_destructible_v<std::mutex>, "threads still log while the process ends");

// The words belong to the bands of ten, so that a level between two of them has one, too.
const char* level_word(int32_t level) {
    constexpr const char* kWords[] = {"DEBUG", "INFO", "WARN", "ERROR", "CRITICAL"};
    const int32_t band = level / kLevelBand - 1;
    return band >= 0 && band < int32_t{std::size(kWords)} ? kWords[band] : "UNKNOWN";
}

// One line of the log: on the stack, or on the heap when it is long.
class Line {
public:
    [[gnu::format(printf, 2, 3)]] void append(const char* format, ...) {
        va_list args;
        va_start(args, format);
        append_list(format, args);
        va_end(args);
    }

    [[gnu::format(printf, 2, 0)]] void append_list(const char* format, va_list args) {
        va_list again;
        va_copy(again, args);
        int length = std::vsnprintf(text_ + length_, size_ - length_, format, args);
        if (length >= 0 && make_room(static_cast<size_t>(length))) {
            length = std::vsnprintf(text_ + length_, size_ - length_, format, again);
        }
        va_end(again);
        // What cannot be formatted is left out; without memory the line ends where the buffer does.
        if (length > 0) length_ += std::min(static_cast<size_t>(length), size_ - length_ - 1);
    }

    [[nodiscard]] std::string_view text() const { return {text_, length_}; }

private:
    // True when a longer buffer was needed, and is there.
    bool make_room(size_t more) {
        if (more < size_ - length_) return false;
        const size_t size = length_ + more + 1;
        std::unique_ptr<char[]> longer(new (std::nothrow) char[size]);
        if (!longer) return false;
        std::memcpy(longer.get(), text_, length_);
        heap_ = std::move(longer);
        text_ = heap_.get();
        size_ = size;
        return true;
    }

    char stack_[1024];
    std::unique_ptr<char[]> heap_;
    char* text_ = stack_;
    size_t size_ = sizeof(stack_);
    size_t length_ = 0;
};

void append_prefix(Line& line, int32_t level, const CallSite& site) {
    const time_t now = std::time(nullptr);
    struct tm local = {};
    (void)localtime_r(&now, &local);
    char time_text[32] = "";
    (void)std::strftime(time_text, sizeof(time_text), "%Y-%m-%d %H:%M:%S", &local);
    line.append("%s %d [%s] %s [%d] %s:", time_text, getpid(), level_word(level), site.file, site.line,
                site.function);
}

// Opened for each line, so that nobody's rotation leaves this process with the old file; written with one call, so
// that lines of several processes do not mix.
void append_to_log_file(std::string_view text) {
    const FileDescriptor file(::open(__log_file__, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666));
    while (file.is_open() && !text.empty()) {
        const ssize_t written = ::write(file.get(), text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text.remove_prefix(static_cast<size_t>(written));
    }
}

}  // namespace

bool is_trace_level_on(int32_t level) {
    const int32_t threshold = __cur_level__ - __cur_level__ % kLevelBand;
    return level >= threshold && level < HARBEXLOG_NOLOG;
}

void write_trace(int32_t level, const CallSite& site, int32_t& lock_fd, const char* format, ...) {
    const int caller_errno = errno;
    {
        const std::lock_guard lock(statement_mutex);
        const bool to_stdout = __cur_type__ == HARBEXLOG_TYPE_STDOUT;
        const bool to_file = __cur_type__ == HARBEXLOG_TYPE_FILE && __log_file__[0] != '\0';
        if (to_file) lock_step(lock_fd);
        if (to_file || to_stdout) {
            Line line;
            append_prefix(line, level, site);
            va_list args;
            va_start(args, format);
            line.append_list(format, args);
            va_end(args);
            if (to_file) append_to_log_file(line.text());
            if (to_stdout) (void)std::fwrite(line.text().data(), 1, line.text().size(), stdout);
        }
        if (to_file) unlock_step(lock_fd);
    }
    errno = caller_errno;
}

namespace {

// False when the path does not fit.
bool store_log_file(const char* path) {
    const std::lock_guard lock(statement_mutex);
    const int length = std::snprintf(__log_file__, sizeof(__log_file__), "%s", path);
    return length >= 0 && static_cast<size_t>(length) < sizeof(__log_file__);
}

}  // namespace

void set_log_file_wrapper() {
    std::string install_path;
    if (getcfg_wrapper(kPackagesConf, kHarbexSection, kInstallPathKey, "", install_path) != 0) return;

    char path[sizeof(__log_file__)] = "";
    const int length = std::snprintf(path, sizeof(path), "%s%s", install_path.c_str(), "/var/log/Harbex.log");
    if (length >= int{sizeof(path)}) {
        HARBEXLOG(HARBEXLOG_ERROR, "Log path too long, falling back to default");
        return;
    }
    if (length > 0) {
        if (store_log_file(path)) return;
        std::fprintf(stderr, "Error: Log file path too long: %s\n", path);
    }
    HARBEXLOG(HARBEXLOG_ERROR, "Invalid log path, falling back to default");
    (void)store_log_file(DEFAULT_LOG_FILE);  // fits
}

namespace {

constexpr uint32_t kRotationSize = 2 * 1024 * 1024;
constexpr int kGenerations = 5;

using Path = char[256];

[[gnu::format(printf, 2, 3)]] bool format_path(Path& path, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(path, sizeof(path), format, args);
    va_end(args);
    return length >= 0 && static_cast<size_t>(length) < sizeof(path);
}

// Only the low 32 bits of the size count: a file just above 4 GiB is a small one.
bool has_reached_rotation_size(const char* path) {
    struct stat file;
    return ::stat(path, &file) == 0 && static_cast<uint32_t>(file.st_size) >= kRotationSize;
}

// The last rename's directory entry is made to survive a power failure.
void sync_directory_of(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    Path directory = ".";
    if (slash == path) {
        (void)format_path(directory, "/");
    } else if (slash != nullptr) {
        (void)format_path(directory, "%.*s", static_cast<int>(slash - path), path);
    }
    const FileDescriptor opened(::open(directory, O_RDONLY | O_CLOEXEC));
    if (opened.is_open() && ::fsync(opened.get()) != 0) {
        std::fprintf(stderr, "Warning: fsync failed on directory: %s (errno=%d)\n", directory, errno);
    }
}

// Frees `path`, generation 0, by moving every generation one up over the next one; missing ones are skipped.
bool shift_generations(const char* path) {
    for (int generation = kGenerations - 1; generation >= 0; --generation) {
        Path source;
        Path target;
        const bool fits =
            (generation == 0 ? format_path(source, "%s", path) : format_path(source, "%s.%d", path, generation)) &&
            format_path(target, "%s.%d", path, generation + 1);
        if (!fits) return false;
        if (::access(source, F_OK) == 0 && std::rename(source, target) != 0) return false;
    }
    return true;
}

// With the rotation lock held.
void rotate(const char* path) {
    Path temporary;
    if (!format_path(temporary, "%s.tmp", path)) {
        std::fprintf(stderr, "Error: temp file path too long (path: %s.tmp)\n", path);
        return;
    }
    if (!FileDescriptor(::open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)).is_open()) return;
    if (!shift_generations(path) || std::rename(temporary, path) != 0) {
        (void)::unlink(temporary);
        return;
    }
    sync_directory_of(path);
}

}  // namespace

void log_rotate(const char* path) {
    Path lock_path;
    if (!format_path(lock_path, "%s.lock", path)) {
        std::fprintf(stderr, "Error: lock file path too long (path: %s.lock)\n", path);
        return;
    }
    const FileDescriptor lock_file(::open(lock_path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!lock_file.is_open()) {
        std::fprintf(stderr, "Error: Failed to create lock file for log rotation\n");
        return;
    }
    struct flock lock = whole_file(F_WRLCK);
    if (fcntl(lock_file.get(), F_SETLKW, &lock) != 0) return;
    if (has_reached_rotation_size(path)) rotate(path);
    lock = whole_file(F_UNLCK);
    (void)fcntl(lock_file.get(), F_SETLK, &lock);
}

}  // namespace harbex::system
