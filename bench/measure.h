// What all measurements share: medians of alternating runs, and one Markdown row each. scripts/bench puts the rows of
// all programs into one table.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "median.h"

namespace bench {

// Alternating runs of a comparison.
inline constexpr int kRuns = 9;

// Microseconds that one execution of `work` takes: the median of `count`.
double time_each_us(int count, const std::function<void()>& work);

// Starts argv[0] with its output thrown away; ends the measurement when that cannot be.
pid_t start_program(const std::vector<std::string>& argv);

// Runs argv[0] to its end with its output thrown away; ends the measurement when it does not exit with 0.
void run_program(const std::vector<std::string>& argv);

// Ends the measurement with one line on standard error unless `holds`.
void require(bool holds, const std::string& what);

// What must hold for the ratio of a comparison; kReport: nothing, it is for information.
enum class Must { kAtMost, kAtLeast, kReport };

// Measures the two in turns, kRuns times after one run each to warm up, and prints the row: medians, median and
// spread of the ratios, and whether the must is met. What `measure_*` return is in `unit`.
void compare(const std::string& what, const char* unit, Must must, double limit,
             const std::function<double()>& measure_ours, const std::function<double()>& measure_other);

// Measures `measure_us` at each size, kRuns times in turns, and prints a row a size: its median beside that of the
// first size. The ratio is growth of the cost by growth of the size, which must be at most 1.
void grow(const std::string& what, const std::vector<size_t>& sizes,
          const std::function<double(size_t size)>& measure_us);

}  // namespace bench
