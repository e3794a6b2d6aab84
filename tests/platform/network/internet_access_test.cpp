#include "internet_access.h"

#include <chrono>
#include <thread>

#include "manager.h"

namespace network::test {
namespace {

class Access : public Manager {
protected:
    static BusReply ask(const std::string& ifname) {
        return call("api.check_access_internet", R"({"ifname":")" + ifname + "\"}");
    }
    static BusReply result(const std::string& ifname) {
        BusReply reply = ask(ifname);
        while (reply.error() == kProbeRuns) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            reply = ask(ifname);
        }
        return reply;
    }
    // What a new probe finds: the last one's result must have lapsed.
    static long long found(const std::string& ifname) {
        EXPECT_EQ(ask(ifname).text, "{\"error\": -2}") << "the first answer comes before the probe's end";
        return result(ifname).error();
    }
    static void let_results_lapse() { std::this_thread::sleep_for(std::chrono::milliseconds(5200)); }
};

TEST_F(Access, TellsWhetherTheGatewayAnswers) {
    EXPECT_EQ(found("eth0"), kReachable);
    EXPECT_EQ(ask("eth0").error(), kReachable) << "a result stands for a while";
    let_results_lapse();
    // The kernel still believes in the gateway that just went away.
    router("ip addr del 192.168.1.1/24 dev wan0");
    EXPECT_EQ(found("eth0"), kUnreachable);
    router("ip addr add 192.168.1.1/24 dev wan0");
    EXPECT_EQ(ask("eth0").error(), kUnreachable) << "a result stands for a while";
    let_results_lapse();
    EXPECT_EQ(found("eth0"), kReachable);
}

TEST_F(Access, EachInterfaceHasItsOwnAnswer) {
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
        {"silent gateway", "test1", kUnreachable},      {"route without a gateway", "test3", kReachable},
        {"silent IPv6 gateway", "test5", kUnreachable}, {"no carrier", "test7", kNoWayOut},
        {"link that is down", "test8", kNoWayOut},      {"link without a default route", "test2", kNoWayOut},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ask(c.ifname).error(), kProbeRuns) << c.name;
    for (const auto& c : cases) {
        const BusReply reply = result(c.ifname);
        EXPECT_EQ(reply.error(), c.expected) << c.name << ": " << reply.text;
        EXPECT_EQ(reply.member("error_message").empty(), c.expected == kReachable) << c.name;
    }
}

}  // namespace
}  // namespace network::test
