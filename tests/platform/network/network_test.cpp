// What the network manager makes of the kernel's tables: the ways out, the networks in use, who answers.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "envelope.h"
#include "internet_access.h"
#include "subnet_conflict.h"
#include "support/bus_call.h"
#include "support/run_program.h"

namespace network::test {
namespace {

using harbex::test::BusReply;
using std::chrono::milliseconds;

constexpr const char* kGateways = "api.get_currentGWinfo";
constexpr const char* kSubnet = "api.check_network_intersect";
constexpr const char* kAccess = "api.check_access_internet";

const std::string kSecond =
    "ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up;"
    "ip addr add 10.77.0.2/24 dev test1; ip -6 addr add 2001:db8:77::2/64 dev test1 nodad;";

// Runs a shell command and gives what it printed. A failure is a failed test that shows what the command said.
std::string shell(const std::string& command) {
    const auto done = harbex::test::run_program({"/bin/bash", "-ec", command});
    EXPECT_EQ(done.status, 0) << command << "\n" << done.err;
    return done.out;
}

// A running NetworkService. What a test does to links, addresses and routes is undone after it. Skips where the
// machine has no network to play with.
class Network : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!own_network()) return;
        process_ = harbex::test::start_program({"/usr/local/sbin/NetworkService"}, STDOUT_FILENO, STDERR_FILENO);
        for (int i = 0; i < 200 && call("").result != BS_CALL_OK; ++i)
            std::this_thread::sleep_for(milliseconds(50));
    }
    static void TearDownTestSuite() {
        if (process_ < 0) return;
        kill(process_, SIGTERM);
        EXPECT_EQ(harbex::test::wait_for(process_), 0);
    }
    void SetUp() override {
        if (!own_network()) GTEST_SKIP() << "no network of its own on this machine";
    }
    void TearDown() override {
        if (!own_network()) return;
        shell(R"(
            for link in $(ip -o link show | cut -d: -f2 | cut -d@ -f1); do
                case $link in test*) ip link del $link 2>/dev/null || true ;; esac
            done
            nsenter -t $(cat /run/appliance/router.pid) -n ip link set wan0 up
            ip addr flush dev eth0; ip route flush table main; ip -6 route flush default; ip link set eth0 up
            ip addr add 192.168.1.10/24 dev eth0; ip route add default via 192.168.1.1 metric 100)");
    }

    static BusReply call(const std::string& method, const std::string& body = "") {
        return harbex::test::bus_call("NetworkService", method, body, 20);
    }
    // What jq makes of the reply's "data".
    static std::string data(const BusReply& reply, const std::string& filter) {
        return shell("jq -cr '.data | " + filter + "' <<'END'\n" + reply.text + "\nEND");
    }

    inline static pid_t process_ = -1;

private:
    static bool own_network() { return !std::filesystem::exists("/run/appliance/in-place"); }
};

TEST_F(Network, DefaultRoutesAreTheCandidates) {
    const std::string none = "ip route del default;";
    const struct {
        const char* name;
        std::string commands;
        const char* expected;
    } cases[] = {
        {"none", none, ""},
        {"lowest metric first", kSecond + "ip route add default via 10.77.0.1 metric 50", "test1 50, eth0 100"},
        {"several next hops",
         kSecond + none +
             "ip route add default metric 5 nexthop via 192.168.1.1 nexthop via 192.168.1.2 nexthop via 10.77.0.1",
         "eth0 5, test1 5"},
        {"without a gateway", kSecond + none + "ip route add default dev test1", "test1 0"},
        {"other tables and route types do not count",
         kSecond + none + "ip route add default via 10.77.0.1 table 30000; ip route add unreachable default metric 9",
         ""},
        {"IPv6 is told when IPv4 has none", kSecond + none + "ip -6 route add default via 2001:db8:77::1 metric 30",
         "test1 30"},
        {"IPv6 is not told beside IPv4", kSecond + "ip -6 route add default via 2001:db8:77::1 metric 30",
         "eth0 100"},
    };
    for (const auto& c : cases) {
        shell(c.commands);
        EXPECT_EQ(data(call(kGateways), "map(\"\\(.ifname) \\(.metric)\") | join(\", \")"),
                  c.expected + std::string("\n"))
            << c.name;
        TearDown();
    }
    shell(
        "ip addr flush dev eth0; ip addr add 192.168.1.10/24 valid_lft 1000 preferred_lft 1000 dev eth0;"
        "ip route add default via 192.168.1.1; nsenter -t $(cat /run/appliance/router.pid) -n ip link set wan0 down;"
        "timeout 5 sh -c 'until ip link show eth0 | grep -q NO-CARRIER; do sleep 0.05; done'");
    EXPECT_EQ(data(call(kGateways), ".[0].status | \"\\(.ip4_type) \\(.link_running)\""), "dhcp 0\n");
}

TEST_F(Network, OverlapsAreFound) {
    shell(kSecond +
          "ip link add test3 type veth peer name test4; ip addr add 10.3.0.1/24 dev test3;"  // stays down
          "ip addr add 10.8.0.1 peer 10.8.0.9/32 dev test1; ip addr add 172.16.5.1/20 dev test1 noprefixroute;"
          "ip route add 10.20.0.0/16 via 192.168.1.1; ip route add blackhole 10.30.0.0/16;"
          "ip route add 10.40.0.0/16 via 192.168.1.1 table 30000");
    const struct {
        const char *name, *ip, *mask;
        int error;
    } cases[] = {
        {"free", "10.99.0.0", "255.255.255.0", 0},
        {"the LAN's last address", "192.168.1.255", "255.255.255.255", kSubnetOverlaps},
        {"right before the LAN", "192.168.0.77", "255.255.255.0", 0},
        {"around the LAN, given by a host in it", "192.168.200.3", "255.255.0.0", kSubnetOverlaps},
        {"loopback is nobody's network", "127.0.0.0", "255.0.0.0", 0},
        {"far end of a point-to-point link", "10.8.0.9", "255.255.255.255", kSubnetOverlaps},
        {"address whose subnet has no route", "172.16.15.0", "255.255.255.0", kSubnetOverlaps},
        {"interface that is down", "10.3.0.0", "255.255.255.0", 0},
        {"static route", "10.20.7.0", "255.255.255.0", kSubnetOverlaps},
        {"route that leads nowhere", "10.30.7.0", "255.255.255.0", 0},
        {"route of another table", "10.40.7.0", "255.255.255.0", 0},
        {"mask with a hole", "10.0.0.0", "255.0.255.0", kBadSubnetRequest},
    };
    for (const auto& c : cases) {
        const BusReply reply =
            call(kSubnet, "{\"ip\":\"" + std::string(c.ip) + "\", \"mask\": \"" + std::string(c.mask) + "\"}");
        EXPECT_EQ(reply.error(), c.error) << c.name << ": " << reply.text;
        EXPECT_EQ(reply.member("data").empty(), c.error == 0) << c.name << ": " << reply.text;
    }
}

TEST_F(Network, EachInterfaceHasItsOwnWayOut) {
    // The far ends have no addresses: nobody answers there.
    shell(
        "for i in 1 3 5 7; do ip link add test$i type veth peer name test$((i + 1));"
        "ip link set test$i up; ip link set test$((i + 1)) up; ip addr add 10.77.$i.2/24 dev test$i; done;"
        "ip route add default via 10.77.1.1 metric 500; ip route add default dev test3 metric 501;"
        "ip route add default via 10.77.7.1 metric 502; ip link set test8 down;"
        "ip -6 addr add 2001:db8:5::2/64 dev test5 nodad; ip -6 route add default via 2001:db8:5::1 metric 600");
    const struct {
        const char *name, *ifname;
        int expected;
    } cases[] = {
        {"gateway that answers", "eth0", kReachable},
        {"silent gateway", "test1", kUnreachable},
        {"route without a gateway", "test3", kReachable},
        {"silent IPv6 gateway", "test5", kUnreachable},
        {"no carrier", "test7", kNoWayOut},
        {"no default route", "test2", kNoWayOut},
    };
    const auto ask = [](const std::string& ifname) {
        return call(kAccess, R"({"ifname":")" + ifname + "\"}").error();
    };
    for (const auto& c : cases)
        EXPECT_EQ(ask(c.ifname), kProbeRuns) << c.name;
    for (const auto& c : cases) {
        long long found = kProbeRuns;
        for (int i = 0; i < 400 && (found = ask(c.ifname)) == kProbeRuns; ++i)
            std::this_thread::sleep_for(milliseconds(50));
        EXPECT_EQ(found, c.expected) << c.name;
    }
    EXPECT_EQ(ask("test1"), kUnreachable) << "a result stands for a while";
}

}  // namespace
}  // namespace network::test
