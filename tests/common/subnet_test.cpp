#include "common/subnet.h"

#include <arpa/inet.h>

#include "common/in_folder.h"
#include "support/rows.h"

namespace harbex::test {
namespace {

in_addr address(const std::string& text) {
    in_addr value{};
    EXPECT_EQ(1, inet_pton(AF_INET, text.c_str(), &value)) << text;
    return value;
}

TEST(Subnet, RangesThatShareAnAddressIntersect) {
    const in_addr net = address("10.0.0.0"), mask = address("255.255.255.0");
    EXPECT_EQ(1, system::is_intersect(net, mask, address("10.0.0.255"), address("255.255.255.255")));
    EXPECT_EQ(0, system::is_intersect(net, mask, address("10.0.1.0"), mask));
}

TEST(NetworkIntersect, ManagersRepliesAreJudged) {
    const std::string words =
        "is_network_intersect: NetworkService.api.check_network_intersect, ip: 10.8.0.5, mask: 255.255.255.255, ";
    ScriptedService<> manager("NetworkService");
    const BusOperation operation{"api.check_network_intersect", R"({"ip":"10.8.0.5", "mask": "255.255.255.255"})",
                                 [] {
                                     return Outcome{system::is_network_intersect("10.8.0.5", "255.255.255.255"), ""};
                                 }};
    expect_replies(manager, operation,
                   {{"{}", 0, "", ""},
                    {R"({"error":1})", 44, "", words + "ip pool conflict with Tessel network."},
                    {R"({"error":5,"data":"x"})", 48, "", words + "bs_call failed ret:5, data: x."},
                    {R"({"error":0)", 47, "", words + "failed to parse json."},
                    {kHungUp, 47, "", words + "bs_call failed ret:3"}});
}

TEST(NetmaskToPrefix, CountsOnesWithoutAGap) {
    LogReader log;
    int prefix = -1;
    for (const auto& [mask, ones] : {std::pair("0.0.0.0", 0), {"255.255.240.0", 20}, {"255.255.255.255", 32}}) {
        EXPECT_EQ(0, system::netmask_to_prefix(address(mask), prefix)) << mask;
        EXPECT_EQ(ones, prefix) << mask;
    }
    EXPECT_NE(0, system::netmask_to_prefix(address("255.0.255.0"), prefix));
    EXPECT_EQ(32, prefix) << "untouched";
    EXPECT_EQ(log.lines(), Lines{"ERROR Invalid netmask: 0xff00ff00 (non-consecutive bits)"});
}

TEST(InterfaceSubnets, AreAllButLoopbacks) {
    if (fs::exists("/run/appliance/in-place")) GTEST_SKIP() << "no network of its own on this machine";
    run_program({"/bin/sh", "-c", "ip addr add 192.168.1.77/24 dev eth0; ip addr add 10.9.8.7/15 dev eth0"});
    LogReader log;
    Lines subnets = {"kept"};
    EXPECT_EQ(0, system::collect_all_interface_subnet(subnets));
    EXPECT_EQ(subnets, (Lines{"kept", "192.168.1.0/24", "10.8.0.0/15", "192.168.1.0/24"}));
    const std::string found = "INFO Found subnet on interface eth0: ";
    EXPECT_EQ(log.lines(), (Lines{found + subnets[1], found + subnets[2], found + subnets[3],
                                  "INFO Collected 4 subnets from network interfaces"}));
}

}  // namespace
}  // namespace harbex::test
