#include "manager.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "support/run_program.h"

namespace network::test {

namespace {

constexpr const char* kProgram = "/usr/local/sbin/NetworkService";
pid_t running = -1;

bool own_network() {
    return !std::filesystem::exists("/run/appliance/in-place");
}

}  // namespace

void shell(const std::string& command) {
    const auto done = harbex::test::run_program({"/bin/sh", "-ec", command});
    ASSERT_EQ(done.status, 0) << command << "\n" << done.err;
}

std::string shell_output(const std::string& command) {
    return harbex::test::run_program({"/bin/sh", "-ec", command}).out;
}

long long counter(const std::string& ifname, const std::string& which) {
    const std::string text = shell_output("ip -s -j link show " + ifname + " | jq '.[0].stats64." + which + "'");
    return std::strtoll(text.c_str(), nullptr, 10);
}

void router(const std::string& command) {
    shell("nsenter -t $(cat /run/appliance/router.pid) -n sh -ec '" + command + "'");
}

void Manager::SetUpTestSuite() {
    if (!own_network()) return;
    running = harbex::test::start_program({kProgram}, STDOUT_FILENO, STDERR_FILENO);
    for (int i = 0; i < 200 && call("").result != BS_CALL_OK; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

void Manager::TearDownTestSuite() {
    if (running < 0) return;
    kill(running, SIGTERM);
    EXPECT_EQ(harbex::test::wait_for(running), 0);
    running = -1;
}

void Manager::SetUp() {
    if (!own_network()) GTEST_SKIP() << "no network of its own on this machine";
    ASSERT_GT(running, 0);
}

void Manager::TearDown() {
    if (!own_network()) return;
    shell(R"(
        for link in $(ip -o link show | cut -d: -f2 | cut -d@ -f1); do
            case $link in lo | eth0) ;; test*) ip link del $link 2>/dev/null || true ;; esac
        done
        ip addr flush dev eth0
        ip route flush table main
        ip -6 route flush default
        ip link set eth0 up
        ip addr add 192.168.1.10/24 dev eth0
        ip route add default via 192.168.1.1 metric 100)");
    router("ip link set wan0 up; ip addr replace 192.168.1.1/24 dev wan0");
}

BusReply Manager::call(const std::string& method, const std::string& body) {
    return harbex::test::bus_call("NetworkService", method, body, 20);
}

pid_t Manager::process() {
    return running;
}

void send_through_eth0(int count) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(9);
    inet_pton(AF_INET, "192.168.1.1", &to.sin_addr);
    const std::string bytes(1000, 'x');
    for (int i = 0; i < count; ++i) {
        // The router's "port unreachable" comes back as an error of a later datagram.
        (void)sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    close(fd);
}

}  // namespace network::test
