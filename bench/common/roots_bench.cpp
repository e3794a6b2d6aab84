// The processor time of a request to the cloud when the distribution's whole bundle is trusted: the later requests of
// a process against its first, which reads the bundle; and of a whole join against one that trusts a single root.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "common/error_code.h"
#include "common/http.h"
#include "measure.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kBundle = "/etc/ssl/certs/ca-certificates.crt";
constexpr const char* kRoots = "/usr/share/ca-certificates";
constexpr const char* kUrl = "https://org-center.harbex.example/v1.2/organization";
constexpr int kLaterRequests = 20;

// Adds every root that the distribution delivers to the appliance's own; returns how many.
size_t fill_bundle() {
    std::ofstream bundle(kBundle, std::ios::app);
    size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(kRoots)) {
        if (entry.path().extension() != ".crt") continue;
        bundle << std::ifstream(entry.path()).rdbuf();
        ++count;
    }
    return count;
}

double cpu_us() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// Without a token the cloud refuses; it was reached and believed all the same.
double request_us() {
    const double start = cpu_us();
    harbex::system::RestTransfer transfer;
    std::string response;
    const int result = transfer.send({harbex::system::HttpMethod::kGet, kUrl, {}, ""}, response);
    bench::require(result == harbex::ERR_HTTP_ERROR, "the cloud cannot be asked: " + std::to_string(result));
    return cpu_us() - start;
}

double later_request_us() {
    (void)request_us();
    std::vector<double> times;
    times.reserve(kLaterRequests);
    for (int request = 0; request < kLaterRequests; ++request)
        times.push_back(request_us());
    return bench::median(times);
}

// In a process of its own, so that its first request is one.
double in_child(double (*measure)()) {
    int ends[2];
    bench::require(pipe2(ends, O_CLOEXEC) == 0, "no pipe");
    const pid_t child = fork();
    if (child == 0) {
        const double time_us = measure();
        _exit(write(ends[1], &time_us, sizeof time_us) == sizeof time_us ? 0 : 1);
    }
    close(ends[1]);
    double time_us = 0;
    bench::require(read(ends[0], &time_us, sizeof time_us) == sizeof time_us, "a series of requests failed");
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return time_us;
}

void shell(const std::string& command) {
    bench::run_program({"/usr/bin/bash", "-ec", command});
}

// Of harbexctl and all that it starts and waits for.
double join_us() {
    const auto of_children_us = [] {
        rusage used{};
        getrusage(RUSAGE_CHILDREN, &used);
        return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1e6 +
               static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
    };
    const double start_us = of_children_us();
    bench::run_program({"/usr/local/bin/harbexctl", "join"});
    const double time_us = of_children_us() - start_us;
    shell("harbexctl leave");
    return time_us;
}

}  // namespace

int main() {
    shell("cp /etc/ssl/certs/ca-certificates.crt /tmp/one-root");
    const std::string roots = std::to_string(fill_bundle());
    bench::compare(
        "Request, " + roots + " trusted roots: later / first of a process", "µs", bench::Must::kAtMost, 0.1,
        [] { return in_child(later_request_us); }, [] { return in_child(request_us); });
    shell(
        "cp /etc/ssl/certs/ca-certificates.crt /tmp/all-roots; signin | harbexctl sign-in;"
        "harbexctl org use org-7f3a1c Office; harbexctl region use auto");
    bench::compare(
        "join with all it starts, processor time: " + roots + " trusted roots / one", "µs", bench::Must::kReport, 0,
        [] {
            shell("cp /tmp/all-roots /etc/ssl/certs/ca-certificates.crt");
            return join_us();
        },
        [] {
            shell("cp /tmp/one-root /etc/ssl/certs/ca-certificates.crt");
            return join_us();
        });
}
