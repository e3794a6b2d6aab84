// A service: its name, its workers, and the connections that wait for the rest of their request.
//
// The workers all wait in one epoll set. The listener wakes one of them, which accepts, reads what is there and runs
// the callback at once when the request is whole. What is incomplete is parked in the set until more of it comes;
// whoever wakes then goes on with it. Nothing is handed from thread to thread. The thread in bs_start serves no
// calls: it delivers signals, closes what has been parked past its deadline, and sees the stop, however busy the
// workers are.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "bsvc.h"
#include "deadline.h"
#include "framing.h"
#include "service_name.h"
#include "signals.h"
#include "stream.h"

namespace bsvc {

// An accepted connection whose request is not whole yet. Closed, it gives its seat back after its descriptor.
struct Connection {
    Seat seat;
    Descriptor fd;
    Deadline deadline;
    uint64_t id = 0;    // of its place in the epoll set; 0: not there yet
    std::string bytes;  // of the request, as far as they have come
};

class Service {
public:
    Service(OwnedName name, int workers, bs_callback callback);
    // False, with errno, when a descriptor could not be made.
    bool prepare();

    int run();
    void stop();  // async-signal-safe
    const Traffic& traffic() const { return *traffic_; }

private:
    void work();
    void step(char* scratch);
    void welcome(char* scratch);
    void resume(uint64_t id, char* scratch);
    void receive(Connection connection, char* scratch);
    void park(Connection connection);
    void dispatch(Connection connection, const Request& request);
    void supervise(HeldSignals& signals);
    void close_late();
    void arm_timer(int64_t at_ns);
    void close_door();
    bool stopping() const { return stop_; }

    OwnedName name_;
    int workers_;
    bs_callback callback_;
    uid_t own_uid_;
    std::shared_ptr<Traffic> traffic_;
    Descriptor epoll_, stop_event_, timer_;
    std::atomic<bool> started_{false}, stop_{false};

    std::mutex parked_mutex_;
    std::map<uint64_t, Connection> parked_;  // guarded by parked_mutex_
    uint64_t last_id_;                       // guarded by parked_mutex_
    int64_t timer_at_ns_ = 0;                // guarded by parked_mutex_; 0: not armed
};

}  // namespace bsvc

struct bs_service final : bsvc::Service {
    using Service::Service;
};
