// One trace statement against the same line appended by hand: fopen, fprintf, fclose, and the lock file opened and
// closed around it.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "common/trace_log.h"
#include "measure.h"

namespace {

constexpr const char* kLog = "/tmp/trace_log_bench.log";
constexpr const char* kLock = "/tmp/trace_log_bench.lck";
constexpr int kStatements = 5000;

void by_statement(int number) {
    using harbex::system::_iot_lock_fd;
    HARBEXLOG(HARBEXLOG_INFO, "Statement %d of %s\n", number, "the measurement");
}

void by_hand(int number) {
    const int lock = ::open(kLock, O_WRONLY | O_CREAT | O_CLOEXEC, 0777);
    FILE* const log = std::fopen(kLog, "ae");
    if (log != nullptr) {
        const time_t now = std::time(nullptr);
        struct tm local = {};
        char text[32];
        localtime_r(&now, &local);
        (void)std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
        (void)std::fprintf(log, "%s %d [%s] %s [%d] %s:Statement %d of %s\n", text, getpid(), "INFO", __FILE_NAME__,
                           __LINE__, __func__, number, "the measurement");
        (void)std::fclose(log);
    }
    ::close(lock);
}

double line_us(void (*write)(int)) {
    int number = 0;
    const double median_us = bench::time_each_us(kStatements, [&] { write(++number); });
    bench::require(::truncate(kLog, 0) == 0, "nothing was logged");
    return median_us;
}

}  // namespace

int main() {
    std::snprintf(__log_file__, sizeof(__log_file__), "%s", kLog);
    bench::compare(
        "a trace statement / the same line by fopen, fprintf, fclose and a lock file", "µs", bench::Must::kReport, 0,
        [] { return line_us(by_statement); }, [] { return line_us(by_hand); });
    ::unlink(kLog);
    ::unlink(kLock);
}
