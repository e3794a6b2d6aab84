// What the network manager makes of the kernel's tables: the ways out, the networks in use.
#include <gtest/gtest.h>

#include <filesystem>

#include "subnet_conflict.h"
#include "support/run_program.h"

namespace network::test {
namespace {

std::string shell(const std::string& command) {
    const auto done = harbex::test::run_program({"/bin/bash", "-ec", command});
    EXPECT_EQ(done.status, 0) << command << "\n" << done.err;
    return done.out;
}

TEST(Network, RoutesAndOverlapsAreFound) {
    if (std::filesystem::exists("/run/appliance/in-place")) GTEST_SKIP() << "no network of its own on this machine";
    shell(
        "appliance-service start NetworkService;"
        "ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up;"
        "ip addr add 10.77.0.2/24 dev test1;"
        "ip link add test3 type veth peer name test4; ip addr add 10.3.0.1/24 dev test3;"  // stays down
        "ip addr add 172.16.5.1/20 dev test1 noprefixroute;"
        "ip route add 10.20.0.0/16 via 192.168.1.1");
    const struct {
        const char *name, *ip, *mask;
        int error;
    } cases[] = {
        {"the LAN's last address", "192.168.1.255", "255.255.255.255", kSubnetOverlaps},
        {"around the LAN, given by a host in it", "192.168.200.3", "255.255.0.0", kSubnetOverlaps},
        {"loopback is nobody's network", "127.0.0.0", "255.0.0.0", 0},
        {"address whose subnet has no route", "172.16.15.0", "255.255.255.0", kSubnetOverlaps},
        {"interface that is down", "10.3.0.0", "255.255.255.0", 0},
        {"static route", "10.20.7.0", "255.255.255.0", kSubnetOverlaps},
        {"mask with a hole", "10.0.0.0", "255.0.255.0", kBadSubnetRequest},
    };
    for (const auto& c : cases) {
        const std::string body = R"({"ip":")" + std::string(c.ip) + R"(","mask":")" + c.mask + "\"}";
        EXPECT_EQ(shell("{ bsh NetworkService.api.check_network_intersect '" + body + "' || true; } | jq .error"),
                  std::to_string(c.error) + "\n")
            << c.name;
    }
    const struct {
        const char *command, *expected;
    } routes[] = {
        {"ip route add default via 10.77.0.1 metric 50", "test1 eth0"},
        {"ip route del default via 192.168.1.1; ip route add unreachable default metric 9", "test1"},
    };
    for (const auto& c : routes) {
        shell(c.command);
        EXPECT_EQ(shell("bsh NetworkService.api.get_currentGWinfo | jq -r '[.data[].ifname] | join(\" \")'"),
                  c.expected + std::string("\n"));
    }
    shell("appliance-service stop NetworkService");
}

}  // namespace
}  // namespace network::test
