// A service: its name, its workers, and the connections that wait for the rest of their request.
//
// Each worker blocks in accept; the kernel wakes one. It waits a moment for the first bytes and, when the request is
// whole, runs the callback at once. What is not goes to the slow lane: the thread in bs_start, which waits for more
// of it, closes what is not whole by its deadline, delivers signals and sees the stop, however busy the workers are.
// Each worker has a twin that runs what becomes whole there; both together run no more callbacks at once than there
// are workers.
#pragma once

#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "base/stream_owner.h"
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
    std::string bytes;  // of the request, as far as they have come
};

// A whole request. Dropped, it closes its connection.
struct Call {
    std::string method;
    nas::StreamOwner io;
    Descriptor fd;
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
    void accept_calls();
    void welcome(char* scratch);
    std::optional<Seat> find_seat();
    void run_ready_calls();
    void run_call(Call call);

    void park(Connection connection);
    void attend_slow_lane(HeldSignals& signals);
    void go_on(Connection& connection, char* scratch);
    int close_late();

    Parsed await_request(Connection& connection, char* scratch, Request& request);
    Parsed receive(Connection& connection, char* scratch, Request& request, int flags);
    bool watch(int operation, int fd, uint32_t events, Connection* connection);
    void close_door();
    bool stopping() const { return stop_; }

    OwnedName name_;
    int workers_;
    bs_callback callback_;
    uid_t own_uid_;
    std::shared_ptr<Traffic> traffic_;
    Descriptor epoll_, stop_event_;
    std::atomic<bool> started_{false}, stop_{false};
    std::atomic<int> patient_{0};              // workers that sleep until something comes
    std::atomic<unsigned> yields_in_vain_{0};  // in a row, those left out for that included

    std::mutex mutex_;
    std::condition_variable callback_ended_, call_ready_;
    int running_ = 0;               // callbacks; guarded by mutex_
    std::list<Call> ready_;         // guarded by mutex_
    std::list<Connection> parked_;  // guarded by mutex_; only the slow lane looks into them or takes them out
};

}  // namespace bsvc

struct bs_service final : bsvc::Service {
    using Service::Service;
};
