// One renewal at a time, and its result for all who were there for it. The daemon's own.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

namespace harbex::service {

// Lets one thread at a time judge again, renew and store something, and tells those who waited how it went: a cloud
// that does not answer then costs them one time-out, not one each. Whoever finds the stored one good needs no turn,
// and so never waits.
class Renewal {
public:
    // A caller's coming in, made before it reads what is stored: an attempt that ends later is one it waited for.
    class Arrival {
    public:
        explicit Arrival(Renewal& renewal) : renewal_(renewal), ended_before_(renewal.ended_) {}

    private:
        friend class Renewal;
        Renewal& renewal_;
        const unsigned ended_before_;
    };

    // One thread's time with it, from the moment nobody else has it.
    class Turn {
    public:
        explicit Turn(const Arrival& arrival)
            : renewal_(arrival.renewal_), ended_before_(arrival.ended_before_), lock_(renewal_.mutex_) {}

        // The result of the latest attempt, when it was for `key` and ended after the arrival.
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
        const unsigned ended_before_;
        const std::lock_guard<std::mutex> lock_;
    };

private:
    std::mutex mutex_;
    std::atomic<unsigned> ended_ = 0;
    std::string key_;  // guarded by mutex_; what the latest attempt was for
    int result_ = 0;   // guarded by mutex_; how it ended
};

}  // namespace harbex::service
