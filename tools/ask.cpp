#include "ask.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace harbex::tools {
namespace {

struct Answers {
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<std::function<void()>> stores;  // guarded by mutex, like the others
    std::vector<bool> answered;
    size_t count = 0;
};

// Whoever is not joined runs on alone.
struct Threads {
    std::vector<std::thread> all{};

    Threads() = default;
    Threads(const Threads&) = delete;
    void operator=(const Threads&) = delete;
    ~Threads() {
        for (std::thread& thread : all) {
            if (thread.joinable()) thread.detach();
        }
    }
};

bool abandoned = false;

std::function<void()> answer_of(const Source& source) {
    try {
        return source();
    } catch (const std::exception&) {  // no memory: as if the source had nothing to say
        return {};
    }
}

}  // namespace

std::vector<bool> ask_all(const std::vector<Source>& sources, Deadline deadline) {
    const auto answers = std::make_shared<Answers>();
    answers->stores.resize(sources.size());
    answers->answered.resize(sources.size());
    Threads threads;
    for (size_t index = 0; index < sources.size(); ++index) {
        threads.all.emplace_back([answers, index, source = sources[index]] {
            std::function<void()> store = answer_of(source);
            const std::lock_guard lock(answers->mutex);
            answers->stores[index] = std::move(store);
            answers->answered[index] = true;
            ++answers->count;
            answers->arrived.notify_one();
        });
    }
    std::unique_lock lock(answers->mutex);
    if (!answers->arrived.wait_until(lock, deadline, [&] { return answers->count == sources.size(); })) {
        abandoned = true;
    }
    for (const std::function<void()>& store : answers->stores) {
        if (store) store();
    }
    std::vector<bool> answered = answers->answered;
    lock.unlock();
    // One that has answered is at its end; what libraries keep a thread is given back before the program's.
    for (size_t index = 0; index < answered.size(); ++index) {
        if (answered[index]) threads.all[index].join();
    }
    return answered;
}

bool has_abandoned_sources() {
    return abandoned;
}

}  // namespace harbex::tools
