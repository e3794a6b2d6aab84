// The processor time of an HTTPS request when the whole bundle of the distribution is trusted: the first request of a
// process, which reads the bundle, against the later ones. A process of its own makes each series; the ratio is that
// of the medians.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "common/http.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kBundle = "/etc/ssl/certs/ca-certificates.crt";
constexpr const char* kRoots = "/usr/share/ca-certificates";
constexpr int kSeries = 15;
constexpr int kLaterRequests = 20;
constexpr double kMost = 0.1;  // of the first

struct Times {
    double first_ms;
    double later_ms;
};

double cpu_ms() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// The server's certificate and every root that the distribution delivers. The count of files.
int make_bundle() {
    std::ofstream bundle(kBundle, std::ios::trunc);
    bundle << std::ifstream("/tmp/server.crt").rdbuf();
    int count = 1;
    for (const auto& entry : fs::recursive_directory_iterator(kRoots)) {
        if (entry.path().extension() != ".crt") continue;
        bundle << std::ifstream(entry.path()).rdbuf();
        ++count;
    }
    return count;
}

// An HTTPS server in a process of its own; its port, 0 when there is none.
int start_server() {
    constexpr const char* kCertificate =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout /tmp/server.key -out "
        "/tmp/server.crt -subj /CN=server -addext subjectAltName=IP:127.0.0.1 2>/dev/null";
    constexpr const char* kServer =
        "exec openssl s_server -www -accept 127.0.0.1:0 -cert /tmp/server.crt -key /tmp/server.key 2>&1";
    if (std::system(kCertificate) != 0) return 0;  // NOLINT(cert-env33-c,concurrency-mt-unsafe)
    FILE* const words = popen(kServer, "re");      // for as long as this appliance stands
    char line[256] = "";
    int port = 0;
    while (port == 0 && words != nullptr && std::fgets(line, sizeof line, words) != nullptr)
        (void)std::sscanf(line, "ACCEPT 127.0.0.1:%d", &port);  // NOLINT(cert-err34-c)
    return port;
}

// 0 when the request failed.
double request_ms(const std::string& url) {
    const double start = cpu_ms();
    harbex::system::RestTransfer transfer;
    std::string response;
    const int result = transfer.send({harbex::system::HttpMethod::kGet, url, {}, ""}, response);
    return result == 0 ? cpu_ms() - start : 0;
}

Times measure(const std::string& url) {
    const double first_ms = request_ms(url);
    std::vector<double> later;
    for (int request = 0; request < kLaterRequests; ++request)
        later.push_back(request_ms(url));
    return {first_ms, median(later)};
}

// In a new process, so that its first request is one.
Times measure_in_child(const std::string& url) {
    int result[2];
    Times times{};
    if (pipe2(result, O_CLOEXEC) != 0) return times;
    const pid_t child = fork();
    if (child == 0) {
        times = measure(url);
        _exit(write(result[1], &times, sizeof times) == sizeof times ? 0 : 1);
    }
    close(result[1]);
    if (read(result[0], &times, sizeof times) != sizeof times) times = {};
    close(result[0]);
    waitpid(child, nullptr, 0);
    return times;
}

}  // namespace

int main() {
    const int port = start_server();
    if (port == 0) return EXIT_FAILURE;
    const std::string url = "https://127.0.0.1:" + std::to_string(port) + "/";
    const int roots = make_bundle();
    std::vector<double> first;
    std::vector<double> later;
    for (int series = 0; series < kSeries; ++series) {
        const Times times = measure_in_child(url);
        if (times.first_ms == 0 || times.later_ms == 0) return EXIT_FAILURE;
        first.push_back(times.first_ms);
        later.push_back(times.later_ms);
    }
    const double ratio = median(later) / median(first);
    std::printf(
        "%d trusted roots: first request of a process %.2f ms, later ones %.2f ms: %.3f of the first (at most "
        "%.1f)\n",
        roots, median(first), median(later), ratio, kMost);
    return EXIT_SUCCESS;
}
