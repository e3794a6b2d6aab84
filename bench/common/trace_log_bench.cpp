// One trace statement against the same line appended by hand: fopen, fprintf, fclose, and the lock file opened and
// closed around it. The two take turns in one process; the ratio is that of their medians.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include "common/trace_log.h"

namespace {

constexpr const char* kLog = "/tmp/trace_log_bench.log";
constexpr const char* kLock = "/tmp/trace_log_bench.lck";
constexpr int kStatements = 200;

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

// Seconds for kStatements lines.
double seconds_of(void (*write)(int)) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kStatements; ++i)
        write(i);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

void trace_statement_against_stdio(benchmark::State& state) {
    std::snprintf(__log_file__, sizeof(__log_file__), "%s", kLog);
    std::vector<double> statement;
    std::vector<double> hand;
    while (state.KeepRunning()) {
        statement.push_back(seconds_of(by_statement));
        hand.push_back(seconds_of(by_hand));
        if (::truncate(kLog, 0) != 0) state.SkipWithError("nothing was logged");
    }
    ::unlink(kLog);
    ::unlink(kLock);
    state.counters["statement_us"] = median(statement) / kStatements * 1e6;
    state.counters["stdio_us"] = median(hand) / kStatements * 1e6;
    state.counters["ratio"] = median(statement) / median(hand);
}
BENCHMARK(trace_statement_against_stdio)->Iterations(500)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
