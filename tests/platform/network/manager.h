// The network manager under test, and a network that each test may change as it likes.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "support/bus_call.h"
#include "support/run_program.h"

namespace network::test {

using harbex::test::BusReply;

// Runs a shell command. A failure is a failed test that shows what the command said.
inline void shell(const std::string& command) {
    const auto done = harbex::test::run_program({"/bin/sh", "-ec", command});
    ASSERT_EQ(done.status, 0) << command << "\n" << done.err;
}

// Runs a shell command behind the gateway, in the router's network namespace.
inline void router(const std::string& command) {
    shell("nsenter -t $(cat /run/appliance/router.pid) -n sh -ec '" + command + "'");
}

// What iproute2 says of a counter of eth0, such as "tx.bytes".
inline long long counter(const std::string& which) {
    const std::string command = "ip -s -j link show eth0 | jq '.[0].stats64." + which + "'";
    return std::stoll(harbex::test::run_program({"/bin/sh", "-ec", command}).out);
}

// Sends some datagrams of 1000 bytes; the router answers that nobody listens there.
inline void send_through_eth0(int count) {
    const std::string numbers = "$(seq " + std::to_string(count) + ")";
    shell("bash -c 'for i in " + numbers + "; do head -c 1000 /dev/zero >/dev/udp/192.168.1.1/9; done'");
}

// A running NetworkService. What a test does to links, addresses and routes is undone after it. Skips where the
// machine has no network to play with.
class Manager : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!own_network()) return;
        process_ = harbex::test::start_program({"/usr/local/sbin/NetworkService"}, STDOUT_FILENO, STDERR_FILENO);
        for (int i = 0; i < 200 && call("").result != BS_CALL_OK; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    static void TearDownTestSuite() {
        if (process_ < 0) return;
        kill(process_, SIGTERM);
        EXPECT_EQ(harbex::test::wait_for(process_), 0);
        process_ = -1;
    }
    void SetUp() override {
        if (!own_network()) GTEST_SKIP() << "no network of its own on this machine";
        ASSERT_GT(process_, 0);
    }
    void TearDown() override {
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

    static BusReply call(const std::string& method, const std::string& body = "") {
        return harbex::test::bus_call("NetworkService", method, body, 20);
    }

    inline static pid_t process_ = -1;

private:
    static bool own_network() { return !std::filesystem::exists("/run/appliance/in-place"); }
};

}  // namespace network::test
