// A point of the monotonic clock up to which something may take.
#pragma once

#include <cstdint>

namespace bsvc {

// Nanoseconds of the monotonic clock; 64 bits wherever time_t has 32.
int64_t monotonic_ns();

class Deadline {
public:
    static Deadline in_seconds(int seconds);

    int64_t at_ns() const { return at_ns_; }
    // What is left, 0 when it has passed.
    int64_t remaining_ns() const;
    bool passed() const { return remaining_ns() == 0; }

    enum class Wait { kReady, kPassed, kFailed };
    // Waits until poll(2) reports `events`, an error or a hang-up on `fd`. A signal handler that runs meanwhile ends
    // nothing.
    Wait wait(int fd, short events) const;

private:
    explicit Deadline(int64_t at_ns) : at_ns_(at_ns) {}
    int64_t at_ns_;
};

}  // namespace bsvc
