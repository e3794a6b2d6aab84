// The network manager under test, and a network that each test may change as it likes.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>

#include "support/bus_call.h"

namespace network::test {

using harbex::test::BusReply;

// Runs a shell command. A failure is a failed test that shows what the command said.
void shell(const std::string& command);
std::string shell_output(const std::string& command);
// What iproute2 says of an interface's counters; `which` such as "tx.bytes".
long long counter(const std::string& ifname, const std::string& which);
// Runs a shell command behind the gateway, in the router's network namespace.
void router(const std::string& command);

// A running NetworkService. What a test does to links, addresses and routes is undone after it. Skips where the
// machine has no network to play with.
class Manager : public testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    static BusReply call(const std::string& method, const std::string& body = "");
    static pid_t process();
};

// Sends some datagrams of 1000 bytes through eth0.
void send_through_eth0(int count);

}  // namespace network::test
