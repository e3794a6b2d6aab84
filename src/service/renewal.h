#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

namespace harbex::service {

// Lets one thread at a time read, judge and renew something, and tells those who waited how it went: a cloud that
// does not answer then costs them one time-out, not one each.
class Renewal {
public:
    // One thread's time with it, from the moment nobody else has it.
    class Turn {
    public:
        explicit Turn(Renewal& renewal) : renewal_(renewal), ended_before_(renewal.ended_), lock_(renewal.mutex_) {}

        // The result of the latest attempt, when it was for `key` and ended while this turn was waited for.
        std::optional<int> awaited(const std::string& key) const {
            if (renewal_.ended_ == ended_before_ || renewal_.key_ != key) return std::nullopt;
            return renewal_.result_;
        }

        // Notes the result of an attempt made in this turn, and returns it.
        int note(const std::string& key, int result) {
            renewal_.key_ = key;
            renewal_.result_ = result;
            ++renewal_.ended_;
            return result;
        }

    private:
        Renewal& renewal_;
        const unsigned ended_before_;  // read before the wait, so declared before the lock
        const std::lock_guard<std::mutex> lock_;
    };

private:
    std::mutex mutex_;
    std::atomic<unsigned> ended_ = 0;
    std::string key_;  // guarded by mutex_; what the latest attempt was for
    int result_ = 0;   // guarded by mutex_; how it ended
};

}  // namespace harbex::service
