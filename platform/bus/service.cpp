#include "service.h"

#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <thread>
#include <vector>

namespace bsvc {
namespace {

constexpr int kMaxOpen = 64;
constexpr int kRequestTimeout_s = 5;
// A worker's, on its stack, whose pages are touched from the start: nearly every request fits.
constexpr size_t kScratchSize = 4 * 1024;
// How long a worker waits when the process or the system is out of descriptors or memory.
constexpr useconds_t kShortage_us = 50'000;
// How long a connection above the limit waits for a place: others may have hung up, and the slow lane not have got
// round to noticing.
constexpr int kCrowd_ms = 50;

// connect wakes a worker before the caller has got round to sending, most of all on one processor. The worker then
// lets others run, which is all it takes where the caller is the next to run. It is not among many connections, nor
// where the two are in different sessions: a worker then sleeps until something comes, and of a single connection
// only now and then tries again.
constexpr unsigned kYieldAgain = 64;
// So long it sleeps before it parks the connection; the kernel makes it a tick of its clock at least.
constexpr timeval kPatience{.tv_sec = 0, .tv_usec = 1000};

constinit std::atomic<bool> stop_next{false};

// One more as long as it lives.
class Counted {
public:
    explicit Counted(std::atomic<int>& count) : count_(count), number_(++count) {}
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --count_; }
    int number() const { return number_; }

private:
    std::atomic<int>& count_;
    const int number_;
};

bool is_silent(const Connection& connection, Parsed parsed) {
    return parsed == Parsed::kIncomplete && connection.bytes.empty();
}

// Without its descriptor: the connection keeps that until the call is sure to be made.
Call make_call(Connection& connection, const Request& request) {
    const int fd = connection.fd.get();
    Call call{std::string(request.method),
              nas::StreamOwner(make_request_stream(request.body, std::move(connection.seat), fd)), Descriptor()};
    if (!call.io) throw std::bad_alloc();
    return call;
}

}  // namespace

Service::Service(OwnedName name, int workers, bs_callback callback)
    : name_(std::move(name)),
      workers_(std::min(workers, kMaxOpen)),  // more could never have work
      callback_(callback),
      own_uid_(geteuid()),
      traffic_(std::make_shared<Traffic>()) {}

bool Service::prepare() {
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    stop_event_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return epoll_ && stop_event_ && watch(EPOLL_CTL_ADD, stop_event_.get(), EPOLLIN, nullptr);
}

void Service::stop() {
    const int saved = errno;
    stop_ = true;
    // Never read: it wakes the slow lane once and for all.
    const uint64_t one = 1;
    if (stop_event_) (void)!write(stop_event_.get(), &one, sizeof one);
    errno = saved;
}

int Service::run() {
    if (started_.exchange(true)) {
        errno = EALREADY;
        return -1;
    }
    HeldSignals signals;
    if (!signals.open() || !watch(EPOLL_CTL_ADD, signals.fd(), EPOLLIN, nullptr)) return -1;
    if (stop_next.exchange(false)) stop();
    signals.deliver();
    int failure = 0;
    std::vector<std::thread> threads;
    try {
        for (int i = 0; i < workers_ && !stopping(); ++i) {
            threads.emplace_back(&Service::accept_calls, this);
            threads.emplace_back(&Service::run_ready_calls, this);
        }
    } catch (const std::exception&) {
        failure = EAGAIN;
        stop();
    }
    attend_slow_lane(signals);
    close_door();
    for (std::thread& thread : threads)
        thread.join();
    parked_.clear();  // of a worker that was just parking it
    errno = failure;
    return failure == 0 ? 0 : -1;
}

// Callers learn at once that nobody will answer, those that a handler in flight sends here included: what still
// connects is refused, what has connected is closed.
void Service::close_door() {
    shutdown(name_.listener(), SHUT_RDWR);  // ends every accept, those that wait and those to come
    for (;;) {
        const Descriptor caller(accept4(name_.listener(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!caller && errno != EINTR && errno != ECONNABORTED) break;
    }
    const std::lock_guard lock(mutex_);
    ready_.clear();
    parked_.clear();
    callback_ended_.notify_all();
    call_ready_.notify_all();
}

bool Service::watch(int operation, int fd, uint32_t events, Connection* connection) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = connection;
    return epoll_ctl(epoll_.get(), operation, fd, &event) == 0;
}

std::optional<Seat> Service::find_seat() {
    for (int waited_ms = 0; waited_ms <= kCrowd_ms; ++waited_ms) {
        if (Seat seat(traffic_); seat.number() <= kMaxOpen) return seat;
        usleep(1000);
    }
    ++traffic_->crowded;
    return std::nullopt;
}

void Service::accept_calls() {
    char scratch[kScratchSize];
    while (!stopping()) {
        try {
            welcome(scratch);
        } catch (const std::bad_alloc&) {
            // The connection is closed already; the service goes on.
        }
    }
}

void Service::welcome(char* scratch) {
    Descriptor fd(accept4(name_.listener(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!fd) {
        // Out of descriptors, say; the callers wait in the backlog meanwhile.
        if (errno != EINTR && errno != ECONNABORTED && !stopping()) usleep(kShortage_us);
        return;
    }
    std::optional<Seat> seat = find_seat();
    if (!seat) return;
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || (peer.uid != own_uid_ && peer.uid != 0)) {
        ++traffic_->foreign;
        return;
    }
    Connection connection{std::move(*seat), std::move(fd), Deadline::in_seconds(kRequestTimeout_s), {}};
    Request request;
    Parsed parsed = Parsed::kIncomplete;
    if (connection.seat.number() == 1 && yields_in_vain_ % kYieldAgain == 0) {
        parsed = receive(connection, scratch, request, MSG_DONTWAIT);
        if (is_silent(connection, parsed)) {
            sched_yield();
            parsed = receive(connection, scratch, request, MSG_DONTWAIT);
        }
    }
    yields_in_vain_ = is_silent(connection, parsed) ? yields_in_vain_ + 1 : 0;
    if (is_silent(connection, parsed)) parsed = await_request(connection, scratch, request);
    if (parsed == Parsed::kIncomplete) return park(std::move(connection));
    if (parsed != Parsed::kWhole) return;
    Call call = make_call(connection, request);
    call.fd = std::move(connection.fd);
    run_call(std::move(call));
}

// Waits for the caller's first bytes, not for long.
Parsed Service::await_request(Connection& connection, char* scratch, Request& request) {
    // One worker never waits: connections on which nothing comes cannot hold all of them.
    const Counted here(patient_);
    const bool may_wait = here.number() < workers_ &&
                          setsockopt(connection.fd.get(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience) == 0;
    return receive(connection, scratch, request, may_wait ? 0 : MSG_DONTWAIT);
}

// Takes what has come, if anything has, and judges the request so far. What is neither whole nor incomplete is to be
// closed, and counted already. The request's views point into `scratch` or the connection.
Parsed Service::receive(Connection& connection, char* scratch, Request& request, int flags) {
    for (;; flags = MSG_DONTWAIT) {
        const ssize_t count = recv(connection.fd.get(), scratch, kScratchSize, flags);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return Parsed::kIncomplete;
        if (count <= 0) return Parsed::kMalformed;  // the caller is gone
        std::string_view bytes(scratch, static_cast<size_t>(count));
        if (!connection.bytes.empty()) bytes = connection.bytes.append(bytes);
        const Parsed parsed = parse_request(bytes, request);
        if (parsed == Parsed::kMalformed) ++traffic_->malformed;
        if (parsed == Parsed::kTooLarge) ++traffic_->oversized;
        if (parsed != Parsed::kIncomplete) return parsed;
        if (connection.bytes.empty()) connection.bytes.assign(bytes);
        if (static_cast<size_t>(count) < kScratchSize) return parsed;
    }
}

void Service::run_call(Call call) {
    {
        std::unique_lock lock(mutex_);
        callback_ended_.wait(lock, [this] { return running_ < workers_ || stopping(); });
        if (running_ == workers_) return;  // stopped meanwhile
        ++running_;
    }
    const int fd = call.fd.release();
    callback_(call.method.c_str(), call.io.release(), fd);
    {
        const std::lock_guard lock(mutex_);
        --running_;
    }
    callback_ended_.notify_one();
}

void Service::run_ready_calls() {
    std::unique_lock lock(mutex_);
    for (;;) {
        call_ready_.wait(lock, [this] { return !ready_.empty() || stopping(); });
        if (stopping()) return;
        Call call = std::move(ready_.front());
        ready_.pop_front();
        lock.unlock();
        run_call(std::move(call));
        lock.lock();
    }
}

void Service::park(Connection connection) {
    std::list<Connection> one;
    one.push_back(std::move(connection));
    const std::lock_guard lock(mutex_);
    parked_.splice(parked_.end(), one);
    // It can be written to, so that the slow lane wakes at once, and learns of its deadline.
    Connection& parked = parked_.back();
    if (!watch(EPOLL_CTL_ADD, parked.fd.get(), EPOLLIN | EPOLLOUT, &parked)) parked_.pop_back();
}

void Service::attend_slow_lane(HeldSignals& signals) {
    char scratch[kScratchSize];
    while (!stopping()) {
        epoll_event event{};
        // One event at a time, so that none is about a connection that the one before has closed.
        if (epoll_wait(epoll_.get(), &event, 1, close_late()) != 1) continue;
        auto* connection = static_cast<Connection*>(event.data.ptr);
        if (connection == nullptr) {
            signals.deliver();
            continue;
        }
        if ((event.events & EPOLLOUT) != 0)
            watch(EPOLL_CTL_MOD, connection->fd.get(), EPOLLIN | EPOLLRDHUP, connection);
        go_on(*connection, scratch);
    }
}

// Closes what has passed its deadline. The milliseconds to the next one; -1: there is none.
int Service::close_late() {
    constexpr int64_t kNsPerMs = 1'000'000;
    int64_t next_ms = -1;
    const std::lock_guard lock(mutex_);
    traffic_->late += std::erase_if(parked_, [&](const Connection& connection) {
        const int64_t left_ns = connection.deadline.remaining_ns();
        const int64_t left_ms = (left_ns + kNsPerMs - 1) / kNsPerMs;
        if (left_ns == 0)
            watch(EPOLL_CTL_DEL, connection.fd.get(), 0, nullptr);
        else if (next_ms < 0 || left_ms < next_ms)
            next_ms = left_ms;
        return left_ns == 0;
    });
    return static_cast<int>(next_ms);
}

void Service::go_on(Connection& connection, char* scratch) {
    Parsed parsed = Parsed::kMalformed;
    std::list<Call> whole;
    try {
        Request request;
        parsed = receive(connection, scratch, request, MSG_DONTWAIT);
        if (parsed == Parsed::kWhole) whole.push_back(make_call(connection, request));
    } catch (const std::bad_alloc&) {
        // It is closed below.
    }
    if (parsed == Parsed::kIncomplete) return;
    // Closing it does not do: a child that has just been forked may hold it, too.
    watch(EPOLL_CTL_DEL, connection.fd.get(), 0, nullptr);
    const std::lock_guard lock(mutex_);
    if (!whole.empty()) {
        whole.front().fd = std::move(connection.fd);
        ready_.splice(ready_.end(), whole);
        call_ready_.notify_one();
    }
    std::erase_if(parked_, [&](const Connection& other) { return &other == &connection; });
}

}  // namespace bsvc

bs_service* bs_create(const char* name, int workers, int /*flags*/, bs_callback cb) {
    if (workers < 1 || cb == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    try {
        std::optional<bsvc::OwnedName> owned = bsvc::OwnedName::take(name);
        if (!owned) return nullptr;
        auto service = std::make_unique<bs_service>(std::move(*owned), workers, cb);
        return service->prepare() ? service.release() : nullptr;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
}

int bs_start(bs_service* service) {
    if (service == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return service->run();
}

void bs_stop(bs_service* service) {
    if (service == nullptr)
        bsvc::stop_next = true;
    else
        service->stop();
}

void bs_free(bs_service* service) {
    delete service;
}
