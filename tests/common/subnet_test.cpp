#include "common/subnet.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/error_code.h"
#include "support/reply_rows.h"
#include "support/run_program.h"
#include "support/scripted_service.h"
#include "support/trace_reader.h"

namespace harbex::test {
namespace {

in_addr address(const char* text) {
    in_addr value{};
    EXPECT_EQ(1, inet_pton(AF_INET, text, &value)) << text;
    return value;
}

TEST(Subnet, RangesThatShareAnAddressIntersect) {
    const struct {
        const char *ip1, *mask1, *ip2, *mask2;
        int expected;
    } cases[] = {
        {"10.0.0.0", "255.255.255.0", "10.0.0.255", "255.255.255.255", 1},
        {"10.0.0.0", "255.255.255.0", "10.0.1.0", "255.255.255.0", 0},
        {"10.0.0.77", "255.255.255.0", "10.0.0.3", "255.255.255.0", 1},
        {"10.0.5.9", "255.255.255.255", "10.0.0.0", "255.255.0.0", 1},
        {"127.255.255.255", "255.255.255.255", "128.0.0.0", "255.255.255.255", 0},
        {"255.255.255.255", "255.255.255.255", "1.2.3.4", "0.0.0.0", 1},
    };
    for (const auto& c : cases) {
        const in_addr ip1 = address(c.ip1);
        const in_addr mask1 = address(c.mask1);
        const in_addr ip2 = address(c.ip2);
        const in_addr mask2 = address(c.mask2);
        EXPECT_EQ(c.expected, system::is_intersect(ip1, mask1, ip2, mask2)) << c.ip1 << " and " << c.ip2;
        EXPECT_EQ(c.expected, system::is_intersect(ip2, mask2, ip1, mask1)) << c.ip2 << " and " << c.ip1;
    }
}

TEST(Subnet, MasksWithAGapHaveNoPrefix) {
    const struct {
        const char* mask;
        int prefix;  // -1: refused
        const char* error;
    } cases[] = {
        {"0.0.0.0", 0, ""},
        {"255.255.240.0", 20, ""},
        {"255.255.255.255", 32, ""},
        {"255.0.255.0", -1, "Invalid netmask: 0xff00ff00 (non-consecutive bits)"},
        {"0.0.0.1", -1, "Invalid netmask: 0x00000001 (non-consecutive bits)"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        int prefix = -1;
        EXPECT_EQ(c.prefix >= 0, system::netmask_to_prefix(address(c.mask), prefix) == 0) << c.mask;
        EXPECT_EQ(c.prefix, prefix) << c.mask;
        EXPECT_EQ(c.error, lines_of(log, "ERROR")) << c.mask;
    }
}

std::string ask() {
    return std::to_string(system::is_network_intersect("10.8.0.5", "255.255.255.255"));
}

TEST(NetworkIntersect, ManagersRepliesAreJudged) {
    const std::string words =
        "is_network_intersect: NetworkService.api.check_network_intersect, ip: 10.8.0.5, mask: 255.255.255.255, ";
    TraceReader log;
    EXPECT_EQ("47", ask());
    EXPECT_EQ(words + "bs_call failed ret:1", lines_of(log, "ERROR"));

    ScriptedService<> manager("NetworkService");
    const BusOperation operation{"api.check_network_intersect", R"({"ip":"10.8.0.5", "mask": "255.255.255.255"})",
                                 ask};
    expect_replies(
        manager, operation,
        {
            {"free", R"({"error":0,"data":"x"})", "0", ""},
            {"no error member counts as free", "{}", "0", ""},
            {"clash", R"({"error":1})", "44", words + "ip pool conflict with Tessel network."},
            {"refused", R"({"error":5,"data":"x"})", "48", words + "bs_call failed ret:5, data: x."},
            {"data of another type", R"({"error":-1,"data":{}})", "48", words + "bs_call failed ret:-1, data: ."},
            {"cut short", R"({"error":0)", "47", words + "failed to parse json."},
            {"nothing", "", "47", words + "failed to parse json."},
            {"hung up", nullptr, "47", words + "bs_call failed ret:3"},
        });
}

TEST(NetworkIntersect, RealManagerKnowsTheLan) {
    ASSERT_EQ(0, run_program({"/usr/local/bin/appliance-service", "start", "NetworkService"}).status);
    EXPECT_EQ(ERR_IP_POOL_CONFLICT, system::is_network_intersect("192.168.1.99", "255.255.255.255"));
    EXPECT_EQ(ERR_IP_POOL_CONFLICT, system::is_network_intersect("192.168.0.0", "255.255.0.0"));
    EXPECT_EQ(NO_ERROR, system::is_network_intersect("10.8.0.5", "255.255.255.255"));
    EXPECT_EQ(ERR_BS_API_RET_ERROR, system::is_network_intersect("no address", "255.255.255.255"));
    EXPECT_EQ(0, run_program({"/usr/local/bin/appliance-service", "stop", "NetworkService"}).status);
}

TEST(InterfaceSubnets, EveryIpv4AddressButTheLoopsIsListed) {
    for (const char* extra : {"10.9.11.7/22", "192.168.1.77/24"})
        ASSERT_EQ(0, run_program({"/usr/bin/ip", "address", "add", extra, "dev", "eth0"}).status);
    TraceReader log;
    std::vector<std::string> subnets = {"kept"};
    EXPECT_EQ(NO_ERROR, system::collect_all_interface_subnet(subnets));
    EXPECT_EQ((std::vector<std::string>{"kept", "192.168.1.0/24", "10.9.8.0/22", "192.168.1.0/24"}), subnets);
    EXPECT_EQ(
        "INFO Found subnet on interface eth0: 192.168.1.0/24\n"
        "INFO Found subnet on interface eth0: 10.9.8.0/22\n"
        "INFO Found subnet on interface eth0: 192.168.1.0/24\n"
        "INFO Collected 4 subnets from network interfaces",
        lines_of(log));
}

}  // namespace
}  // namespace harbex::test
