// A service of the bus that answers what it was told to: stands where a real peer would, under the peer's name.
#pragma once

#include <bsvc.h>
#include <unistd.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace harbex::test {

// One at a time for each Slot: the bus's callback carries no context.
template <int Slot = 0>
class ScriptedService {
public:
    struct Call {
        std::string method;
        std::string body;
        bool operator==(const Call&) const = default;
    };

    explicit ScriptedService(const std::string& name) {
        current_ = this;
        service_ = bs_create(name.c_str(), 4, 1, &ScriptedService::serve);
        if (service_ == nullptr) throw std::runtime_error("the name " + name + " is taken");
        thread_ = std::thread([this] { bs_start(service_); });
    }
    ~ScriptedService() {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        ended_.notify_all();
        bs_stop(service_);
        thread_.join();
        bs_free(service_);
    }
    ScriptedService(const ScriptedService&) = delete;
    void operator=(const ScriptedService&) = delete;

    // From now on `method` is answered with `body`, byte for byte. A method without a script is hung up on.
    void answer(const std::string& method, const std::string& body) {
        const std::lock_guard lock(mutex_);
        scripts_[method] = body;
    }
    void hang_up(const std::string& method) {
        const std::lock_guard lock(mutex_);
        scripts_.erase(method);
    }
    // No answer until this service ends.
    void stall(const std::string& method) { answer(method, kStall); }

    std::vector<Call> calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }

private:
    static constexpr const char* kStall = "(stalls)";

    static void serve(const char* method, bs_io* io, int fd) {
        current_->reply(method, io);
        bs_io_free(io);
        close(fd);
    }
    void reply(const char* method, bs_io* io) {
        size_t length = 0;
        const char* bytes = bs_io_read(io, &length);
        std::unique_lock lock(mutex_);
        calls_.push_back({method, bytes == nullptr ? "" : std::string(bytes, length)});
        if (!scripts_.contains(method)) return;
        const std::string body = scripts_[method];
        if (body == kStall) return ended_.wait(lock, [this] { return ending_; });
        bs_io_realloc(io, 0);
        bs_io_write(io, body.data(), body.size());
        bs_reply(io);
    }

    static inline ScriptedService* current_ = nullptr;

    bs_service* service_ = nullptr;
    mutable std::mutex mutex_;
    std::condition_variable ended_;
    std::map<std::string, std::string> scripts_;  // guarded by mutex_
    std::vector<Call> calls_;                     // guarded by mutex_
    bool ending_ = false;                         // guarded by mutex_
    std::thread thread_;
};

}  // namespace harbex::test
