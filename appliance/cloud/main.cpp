// The simulated cloud: HTTPS for all its hosts on every port they have, and its control on the bus.
#include <signal.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <list>
#include <string_view>
#include <thread>

#include "cloud/control.h"
#include "cloud/endpoints.h"
#include "cloud/server.h"

namespace {

constexpr const char* kRunDirectory = "/run/appliance/cloud";
constexpr const char* kStateFile = "/var/lib/appliance/cloud.json";
constexpr const char* kFaultDirectory = "/run/appliance/faults/cloud";

int fail(const char* what) {
    std::fprintf(stderr, "cloud: %s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--list-hosts" || option == "--list-paths") {
        std::fputs((option == "--list-hosts" ? appliance::list_hosts() : appliance::list_paths()).c_str(), stdout);
        return 0;
    }
    if (argc != 4) {
        std::fprintf(stderr, "usage: cloud ADDRESS HOSTS CREDENTIALS\n       cloud --list-hosts | --list-paths\n");
        return 64;
    }
    signal(SIGPIPE, SIG_IGN);
    // Blocked before the first thread, so that only the control's loop sees them.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    appliance::Cloud cloud(kRunDirectory, kStateFile, kFaultDirectory);
    if (!cloud.hosts.load(argv[2])) return fail("no hosts");
    const auto credentials = appliance::load_credentials(argv[3]);
    if (!credentials) return fail("no credentials");
    cloud.credentials = *credentials;
    if (!cloud.certificates.make(cloud.hosts.names())) return fail("no certificates");
    std::ofstream(std::string(kRunDirectory) + "/authority.pem") << cloud.certificates.authority();
    cloud.records.clear();

    std::list<appliance::CloudServer> servers;
    for (const int port : cloud.hosts.ports()) {
        if (!servers.emplace_back(cloud).open(argv[1], port)) return fail("the address or port is taken");
    }
    std::list<std::thread> threads;
    for (appliance::CloudServer& server : servers)
        threads.emplace_back([&server] { server.listen_after_bind(); });
    const bool served = appliance::serve_control(cloud);
    cloud.stop();
    // A server can be stopped only once it runs.
    for (appliance::CloudServer& server : servers) {
        while (!server.is_running())
            std::this_thread::yield();
        server.stop();
    }
    for (std::thread& thread : threads)
        thread.join();
    return served ? 0 : fail("the name on the bus is taken");
}
