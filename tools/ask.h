// Asks several sources at once, each in a thread of its own, until all have answered or time is up. A source that is
// silent then is abandoned: its thread is never joined, and what it still brings is dropped.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace harbex::tools {

using Deadline = std::chrono::steady_clock::time_point;

inline Deadline deadline_in(int seconds) {
    return std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
}

// Asks, which may block for as long as it likes, and returns what stores the answer. The first half runs beside the
// other sources and must own what it uses; the second runs in the caller's time, or never.
using Source = std::function<std::function<void()>()>;

// Blocks until `deadline` at most. For each source, whether it answered.
std::vector<bool> ask_all(const std::vector<Source>& sources, Deadline deadline);

// Whether a thread was left behind: the program then ends with _exit, behind its last flush.
bool has_abandoned_sources();

}  // namespace harbex::tools
