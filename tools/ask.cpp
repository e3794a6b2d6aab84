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
    for (size_t index = 0; index < sources.size(); ++index) {
        std::thread([answers, index, source = sources[index]] {
            std::function<void()> store = answer_of(source);
            const std::lock_guard lock(answers->mutex);
            answers->stores[index] = std::move(store);
            answers->answered[index] = true;
            ++answers->count;
            answers->arrived.notify_one();
        }).detach();
    }
    std::unique_lock lock(answers->mutex);
    if (!answers->arrived.wait_until(lock, deadline, [&] { return answers->count == sources.size(); })) {
        abandoned = true;
    }
    for (const std::function<void()>& store : answers->stores) {
        if (store) store();
    }
    return answers->answered;
}

bool has_abandoned_sources() {
    return abandoned;
}

}  // namespace harbex::tools
