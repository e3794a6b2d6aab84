#include "common/trace_statement.h"

#include <fcntl.h>
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
#include <string_view>
#include <type_traits>

#include "common/file_descriptor.h"
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

bool place_trace_log(const char* path) {
    const std::lock_guard lock(statement_mutex);
    const int length = std::snprintf(__log_file__, sizeof(__log_file__), "%s", path);
    return length >= 0 && static_cast<size_t>(length) < sizeof(__log_file__);
}

void place_trace_log_by_default() {
    (void)place_trace_log(DEFAULT_LOG_FILE);  // fits
}

}  // namespace harbex::system
