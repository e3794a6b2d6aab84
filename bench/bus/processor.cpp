#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "exchange.h"

namespace bench {
namespace {

cpu_set_t all_processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    return set;
}

const cpu_set_t& first_processors() {
    static const cpu_set_t set = all_processors();
    return set;
}

}  // namespace

void pin_to(int processor) {
    cpu_set_t set = first_processors();
    if (processor >= 0) {
        CPU_ZERO(&set);
        CPU_SET(static_cast<size_t>(processor), &set);
    }
    if (sched_setaffinity(0, sizeof set, &set) != 0) std::perror("bench_bus: sched_setaffinity");
}

Server::Server(const std::function<void(const std::function<void()>& ready)>& body, Session session) {
    int pipe_ends[2];
    if (pipe(pipe_ends) != 0) std::exit(1);
    child_ = fork();
    if (child_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (session == Session::kOwn) setsid();
        close(pipe_ends[0]);
        body([&] { (void)!write(pipe_ends[1], "r", 1); });
        _exit(0);
    }
    close(pipe_ends[1]);
    char byte = 0;
    const bool ready = read(pipe_ends[0], &byte, 1) == 1;
    close(pipe_ends[0]);
    if (ready) return;
    std::fprintf(stderr, "bench_bus: a server did not start\n");
    std::exit(1);
}

Server::~Server() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
}

}  // namespace bench
