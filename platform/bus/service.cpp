#include "service.h"

#include <poll.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>
#include <optional>

namespace bsvc {
namespace {

constexpr int kMaxOpen = 64;
constexpr int kRequestTimeout_s = 5;
constexpr size_t kScratchSize = 64 * 1024;
// How long a worker waits when the process or the system is out of descriptors or memory.
constexpr int kShortage_ms = 50;

// connect wakes a worker before the caller has got round to sending, most of all on one processor. So often the
// worker lets others run before it parks a connection on which nothing has come: parking it costs several system
// calls more.
constexpr int kYields = 3;

// What an event of the epoll set is about; parked connections count on from here.
constexpr uint64_t kListenerId = 1;
constexpr uint64_t kStopId = 2;

// The listener wakes one worker, which arms it anew as soon as it has accepted. (EPOLLEXCLUSIVE is between sets;
// inside one set a level-triggered listener wakes all that wait, one after the other.)
constexpr uint32_t kOneWorker = EPOLLIN | EPOLLONESHOT;

constinit std::atomic<bool> stop_next{false};

bool is_shortage(int reason) {
    return reason == EMFILE || reason == ENFILE || reason == ENOBUFS || reason == ENOMEM;
}

std::optional<uid_t> peer_uid(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
    return peer.uid;
}

bool watch(int epoll, int operation, int fd, uint32_t events, uint64_t id) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = id;
    return epoll_ctl(epoll, operation, fd, &event) == 0;
}

}  // namespace

Service::Service(OwnedName name, int workers, bs_callback callback)
    : name_(std::move(name)),
      workers_(std::min(workers, kMaxOpen)),  // more could never have work
      callback_(callback),
      own_uid_(geteuid()),
      traffic_(std::make_shared<Traffic>()),
      last_id_(kStopId) {}

bool Service::prepare() {
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    stop_event_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    timer_.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    return epoll_ && stop_event_ && timer_ &&
           watch(epoll_.get(), EPOLL_CTL_ADD, name_.listener(), kOneWorker, kListenerId) &&
           watch(epoll_.get(), EPOLL_CTL_ADD, stop_event_.get(), EPOLLIN, kStopId);
}

void Service::stop() {
    const int saved = errno;
    stop_ = true;
    // Never read: it wakes every worker and the loop, once and for all.
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
    if (!signals.open()) return -1;
    if (stop_next.exchange(false)) stop();
    signals.deliver();
    int failure = 0;
    std::vector<std::thread> threads;
    try {
        threads.reserve(static_cast<size_t>(workers_));
        for (int i = 0; i < workers_ && !stopping(); ++i)
            threads.emplace_back(&Service::work, this);
    } catch (const std::exception&) {
        failure = EAGAIN;
        stop();
    }
    supervise(signals);
    close_door();
    for (std::thread& thread : threads)
        thread.join();
    {
        const std::lock_guard lock(parked_mutex_);
        parked_.clear();
    }
    errno = failure;
    return failure == 0 ? 0 : -1;
}

void Service::supervise(HeldSignals& signals) {
    while (!stopping()) {
        pollfd waiting[] = {{stop_event_.get(), POLLIN, 0}, {timer_.get(), POLLIN, 0}, {signals.fd(), POLLIN, 0}};
        if (poll(waiting, std::size(waiting), -1) < 0 && errno != EINTR) poll(nullptr, 0, kShortage_ms);
        signals.deliver();
        if (waiting[1].revents != 0) close_late();
    }
}

// Callers learn at once that nobody will answer, those that a handler in flight sends here included: what still
// connects is refused, what has connected is closed.
void Service::close_door() {
    shutdown(name_.listener(), SHUT_RDWR);
    for (;;) {
        const Descriptor caller(accept4(name_.listener(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!caller && errno != EINTR && errno != ECONNABORTED) break;
    }
}

void Service::close_late() {
    uint64_t expirations = 0;
    (void)!read(timer_.get(), &expirations, sizeof expirations);
    const std::lock_guard lock(parked_mutex_);
    timer_at_ns_ = 0;
    traffic_->late += std::erase_if(parked_, [](const auto& entry) { return entry.second.deadline.passed(); });
    for (const auto& [id, connection] : parked_)
        arm_timer(connection.deadline.at_ns());
}

// To be called under parked_mutex_.
void Service::arm_timer(int64_t at_ns) {
    if (timer_at_ns_ != 0 && timer_at_ns_ <= at_ns) return;
    timer_at_ns_ = at_ns;
    itimerspec when{};
    when.it_value.tv_sec = static_cast<time_t>(at_ns / 1'000'000'000);
    when.it_value.tv_nsec = static_cast<long>(at_ns % 1'000'000'000);
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &when, nullptr);
}

void Service::work() {
    char scratch[kScratchSize];
    while (!stopping()) {
        try {
            step(scratch);
        } catch (const std::bad_alloc&) {
            // The connection is closed already; the service goes on.
        }
    }
}

void Service::step(char* scratch) {
    // One event at a time: a second one would wait for as long as this worker's callback takes.
    epoll_event event{};
    if (epoll_wait(epoll_.get(), &event, 1, -1) != 1) return;
    if (event.data.u64 == kStopId) return;
    if (event.data.u64 == kListenerId) return welcome(scratch);
    resume(event.data.u64, scratch);
}

void Service::welcome(char* scratch) {
    Descriptor fd(accept4(name_.listener(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!fd && is_shortage(errno)) {
        // The callers wait in the backlog meanwhile. The listener stays ready: armed at once it would make this spin.
        pollfd waiting{stop_event_.get(), POLLIN, 0};
        poll(&waiting, 1, kShortage_ms);
    }
    watch(epoll_.get(), EPOLL_CTL_MOD, name_.listener(), kOneWorker, kListenerId);
    if (!fd) return;
    Seat seat(traffic_);
    if (seat.number() > kMaxOpen) {
        ++traffic_->crowded;
        return;
    }
    const std::optional<uid_t> peer = peer_uid(fd.get());
    if (!peer || (*peer != own_uid_ && *peer != 0)) {
        ++traffic_->foreign;
        return;
    }
    receive({std::move(seat), std::move(fd), Deadline::in_seconds(kRequestTimeout_s), 0, {}}, scratch);
}

void Service::resume(uint64_t id, char* scratch) {
    std::unique_lock lock(parked_mutex_);
    auto found = parked_.extract(id);
    lock.unlock();
    // It may have been closed for lateness since the event.
    if (!found.empty()) receive(std::move(found.mapped()), scratch);
}

void Service::receive(Connection connection, char* scratch) {
    for (int yields = 0;;) {
        const ssize_t count = recv(connection.fd.get(), scratch, kScratchSize, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) {
            if (connection.id != 0 || !connection.bytes.empty() || ++yields > kYields)
                return park(std::move(connection));
            sched_yield();
            continue;
        }
        if (count <= 0) return;
        std::string_view bytes(scratch, static_cast<size_t>(count));
        if (!connection.bytes.empty()) bytes = connection.bytes.append(bytes);
        Request request;
        switch (parse_request(bytes, request)) {
            case Parsed::kWhole:
                return dispatch(std::move(connection), request);
            case Parsed::kMalformed:
                ++traffic_->malformed;
                return;
            case Parsed::kTooLarge:
                ++traffic_->oversized;
                return;
            case Parsed::kIncomplete:
                break;
        }
        if (connection.deadline.passed()) {  // one that trickles without a pause never parks
            ++traffic_->late;
            return;
        }
        if (connection.bytes.empty()) connection.bytes.assign(bytes);
    }
}

void Service::park(Connection connection) {
    if (connection.deadline.passed()) {
        ++traffic_->late;
        return;
    }
    // The lock also covers the set: once a connection is parked, another thread may close it and its number be given
    // anew.
    const std::lock_guard lock(parked_mutex_);
    const int operation = connection.id == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    if (connection.id == 0) connection.id = ++last_id_;
    const uint64_t id = connection.id;
    const int fd = connection.fd.get();
    const int64_t at_ns = connection.deadline.at_ns();
    parked_.emplace(id, std::move(connection));
    if (watch(epoll_.get(), operation, fd, EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, id))
        arm_timer(at_ns);
    else
        parked_.erase(id);
}

void Service::dispatch(Connection connection, const Request& request) {
    const int fd = connection.fd.get();
    if (connection.id != 0) watch(epoll_.get(), EPOLL_CTL_DEL, fd, 0, 0);
    const std::string method(request.method);
    bs_io* io = make_request_stream(request.body, std::move(connection.seat), fd, socket_cookie(fd));
    if (io == nullptr) return;
    // The request's bytes are in the stream now.
    std::string().swap(connection.bytes);
    (void)connection.fd.release();
    callback_(method.c_str(), io, fd);
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
