// The ways to carry one request to another process and its reply back that bench_bus compares. Each echoes its
// request, and has its server in a process of its own.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace bench {

// One exchange; false when it failed. Called from one thread, or, where noted, from several.
using Exchange = std::function<bool(const std::string& request)>;

// Whose the server's session is. The scheduler shares the processor between sessions: a server in one of its own, as
// all services are, is treated otherwise than a relative of the caller.
enum class Session { kCallers, kOwn };

// A server process; ended with the object.
class Server {
public:
    // Runs `body` in a child process, which ends with it; returns when the child has called the function it is given.
    explicit Server(const std::function<void(const std::function<void()>& ready)>& body,
                    Session session = Session::kCallers);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

private:
    pid_t child_;
};

// Unix stream socket, a connection a call, blocking read and write, and nothing else: no header, no limit, no
// time-out, no check of the peer. The server is `threads` threads that accept, read, run `work`, write and close. Any
// number of threads may call.
void serve_bare(
    int threads, const std::function<void()>& ready, const std::function<void()>& work = [] {});
// The same for one exchange.
void serve_bare_once();
bool exchange_bare(const std::string& request);

// One call of the service bus on a service with `workers` workers. Any number of threads may call.
void serve_bus(int workers, const std::function<void()>& ready);
bool exchange_bus(const std::string& request);

// D-Bus through sd-bus over a dbus-daemon of its own, which runs as long as the object; the connection is kept.
class DBusDaemon {
public:
    DBusDaemon();
    ~DBusDaemon();
    DBusDaemon(const DBusDaemon&) = delete;
    DBusDaemon& operator=(const DBusDaemon&) = delete;

    const std::string& address() const { return address_; }

private:
    std::string folder_, address_;
    pid_t daemon_ = -1;
};
void serve_dbus(const std::string& address, const std::function<void()>& ready);
Exchange dbus_exchange(const std::string& address);

// The processor all following work of this process and its children runs on; -1 for all it had at first.
void pin_to(int processor);

}  // namespace bench
