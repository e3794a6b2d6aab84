#include "measure.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {
namespace {

// A reader's two digits decide, not the third.
constexpr double kRounding = 0.005;

void print_row(const std::string& what, double ours, double other, const char* unit,
               const std::vector<double>& ratios, Must must, double limit) {
    const double ratio = median(ratios);
    const auto [lowest, highest] = std::minmax_element(ratios.begin(), ratios.end());
    const bool met = must == Must::kAtMost ? ratio < limit + kRounding : ratio > limit - kRounding;
    char verdict[64] = "– | ";
    if (must != Must::kReport) {
        std::snprintf(verdict, sizeof verdict, "%s %.2f | %s", must == Must::kAtMost ? "≤" : "≥", limit,
                      met ? "met" : "**missed**");
    }
    std::printf("| %s | %.4g | %.4g | %s | %.2f | %.2f–%.2f | %s |\n", what.c_str(), ours, other, unit, ratio,
                *lowest, *highest, verdict);
    std::fflush(stdout);
}

}  // namespace

double time_each_us(int count, const std::function<void()>& work) {
    std::vector<double> times_us;
    for (int i = 0; i < count; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        times_us.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    return median(times_us);
}

pid_t start_program(const std::vector<std::string>& argv) {
    std::vector<char*> words;
    words.reserve(argv.size() + 1);
    for (const std::string& word : argv)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int failure = posix_spawn(&child, words[0], &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    require(failure == 0, argv[0] + " cannot be started");
    return child;
}

void run_program(const std::vector<std::string>& argv) {
    int status = -1;
    waitpid(start_program(argv), &status, 0);
    require(status == 0, argv[0] + " failed");
}

void require(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "measurement ended: %s\n", what.c_str());
    std::_Exit(1);
}

void compare(const std::string& what, const char* unit, Must must, double limit,
             const std::function<double()>& measure_ours, const std::function<double()>& measure_other) {
    std::vector<double> ours, others, ratios;
    (void)measure_ours();
    (void)measure_other();
    for (int run = 0; run < kRuns; ++run) {
        // Who goes first changes, too.
        const bool ours_first = run % 2 == 0;
        const double first = ours_first ? measure_ours() : measure_other();
        const double second = ours_first ? measure_other() : measure_ours();
        ours.push_back(ours_first ? first : second);
        others.push_back(ours_first ? second : first);
        ratios.push_back(ours.back() / others.back());
    }
    print_row(what, median(ours), median(others), unit, ratios, must, limit);
}

void grow(const std::string& what, const std::vector<size_t>& sizes,
          const std::function<double(size_t size)>& measure_us) {
    std::vector<std::vector<double>> costs(sizes.size());
    for (int run = 0; run < kRuns; ++run)
        for (size_t i = 0; i < sizes.size(); ++i)
            costs[i].push_back(measure_us(sizes[i]));
    for (size_t i = 1; i < sizes.size(); ++i) {
        const double growth = static_cast<double>(sizes[i]) / static_cast<double>(sizes[0]);
        std::vector<double> ratios;
        for (int run = 0; run < kRuns; ++run) {
            const auto at = static_cast<size_t>(run);
            ratios.push_back(costs[i][at] / costs[0][at] / growth);
        }
        print_row(what + ": " + std::to_string(sizes[i]) + " / " + std::to_string(sizes[0]), median(costs[i]),
                  median(costs[0]), "µs", ratios, Must::kAtMost, 1);
    }
}

}  // namespace bench
