#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>
#include <vector>

#include "envelope.h"
#include "interface_rates.h"
#include "internet_access.h"
#include "manager.h"
#include "subnet_conflict.h"
#include "support/run_program.h"

namespace network::test {
namespace {

constexpr const char* kInfo = "interfaces_monitor.get_info_interfaces";
constexpr const char* kSubnet = "api.check_network_intersect";
constexpr const char* kAccess = "api.check_access_internet";

class Service : public Manager {
protected:
    static long descriptors() {
        const std::filesystem::directory_iterator all("/proc/" + std::to_string(process_) + "/fd");
        return std::distance(begin(all), end(all));
    }
};

TEST_F(Service, BadRequestsAreAnsweredWithTheReason) {
    const struct {
        const char *name, *method, *body;
        int error;
    } cases[] = {
        {"unknown method", "api.get_currentGWinf", "", kUnknownMethod},
        {"info: no request", kInfo, "", kBadInterfaceRequest},
        {"info: unknown name", kInfo, R"({"name_interface":"eth7"})", kNoSuchInterface},
        {"subnet: no request", kSubnet, "", kBadSubnetRequest},
        {"subnet: mask with a hole", kSubnet, R"({"ip":"10.0.0.0","mask":"255.0.255.0"})", kBadSubnetRequest},
        {"subnet: prefix length", kSubnet, R"({"ip":"10.0.0.0","mask":"24"})", kBadSubnetRequest},
        {"access: no request", kAccess, "", kBadProbeRequest},
        {"access: unknown name", kAccess, R"({"ifname":"eth7"})", kBadProbeRequest},
    };
    for (const auto& c : cases) {
        const BusReply reply = call(c.method, c.body);
        EXPECT_EQ(reply.result, BS_CALL_OK) << c.name;
        EXPECT_EQ(reply.text.rfind("{\"error\": " + std::to_string(c.error) + ", ", 0), 0U)
            << c.name << ": " << reply.text;
        EXPECT_NE(reply.member("error_message"), "") << c.name << ": " << reply.text;
        EXPECT_EQ(reply.member("data"), reply.member("error_message")) << c.name;
    }
}

TEST_F(Service, ThousandCallsFromManySidesLeaveNothingOpen) {
    const struct {
        const char *method, *body;
    } calls[] = {
        {"api.get_currentGWinfo", ""},
        {kInfo, R"({"name_interface":"eth0"})"},
        {kSubnet, R"({"ip":"10.0.0.0", "mask": "255.0.0.0"})"},
        {kAccess, R"({"ifname":"eth0"})"},
        {"nothing", "nothing"},
    };
    const auto call_all = [&calls](int rounds) {
        for (int i = 0; i < rounds; ++i)
            for (const auto& c : calls)
                EXPECT_EQ(call(c.method, c.body).result, BS_CALL_OK) << c.method;
    };
    call_all(1);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // the probe ends, too
    const long before = descriptors();
    {
        std::vector<std::jthread> callers;
        for (int i = 0; i < 4; ++i)
            callers.emplace_back(call_all, 50);
    }
    for (int i = 0; i < 50 && descriptors() != before; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(descriptors(), before);
}

TEST_F(Service, HasItsNameForItselfAndEndsOnASignalWhileAProbeRuns) {
    const auto second = harbex::test::run_program({"/usr/local/sbin/NetworkService"});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(std::ranges::count(second.err, '\n'), 1) << second.err;
    EXPECT_EQ(call("").error(), kUnknownMethod) << "the first one serves on";

    shell(
        "ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up;"
        "ip addr add 10.77.0.2/24 dev test1; ip route add default via 10.77.0.1 metric 500");
    for (const int signal : {SIGINT, SIGTERM}) {
        EXPECT_EQ(call(kAccess, R"({"ifname":"test1"})").error(), kProbeRuns);
        kill(process_, signal);
        EXPECT_EQ(harbex::test::wait_for(process_), 0);
        EXPECT_NE(call("").result, BS_CALL_OK);
        SetUpTestSuite();
    }
}

}  // namespace
}  // namespace network::test
