#include "interface_rates.h"

#include <chrono>
#include <thread>

#include "manager.h"

namespace network::test {
namespace {

using std::chrono::milliseconds;

RateSample sample(int64_t time_ms, uint64_t rx, uint64_t tx, int ifindex = 2) {
    return {std::chrono::steady_clock::time_point(milliseconds(time_ms + 1'000'000)), ifindex, rx, tx};
}

TEST(RateHistory, NextSampleDecides) {
    // The last sample: at 0 ms, 10000 and 20000 bytes, with the rates 1000 and 2000 of the second before it.
    const struct {
        const char* name;
        RateSample now;
        std::optional<Rates> expected;
    } cases[] = {
        {"a second later", sample(1000, 10500, 20250), Rates{500, 250}},
        {"half a second later", sample(500, 10500, 20250), Rates{1000, 500}},
        {"too soon: the last rates", sample(499, 90000, 90000), Rates{1000, 2000}},
        {"taken before the last one", sample(-10, 9000, 19000), Rates{1000, 2000}},
        {"idle", sample(2000, 10000, 20000), Rates{0, 0}},
        {"received bytes went back", sample(1000, 9999, 30000), Rates{0, 0}},
        {"sent bytes went back, soon", sample(10, 30000, 19999), Rates{0, 0}},
        {"another interface of that name", sample(1000, 30000, 30000, 3), Rates{0, 0}},
        {"a minute later", sample(60'000, 70000, 20000), Rates{1000, 0}},
        {"forgotten", sample(60'001, 70000, 20000), std::nullopt},
    };
    for (const auto& c : cases) {
        RateHistory history;
        EXPECT_EQ(history.add("eth0", sample(-1000, 9000, 18000), sample(0, 10000, 20000)), (Rates{1000, 2000}));
        EXPECT_EQ(history.rates("eth0", c.now), c.expected) << c.name;
        EXPECT_EQ(history.rates("eth1", c.now), std::nullopt) << c.name;
    }
}

TEST(RateHistory, TooSoonASampleIsNotCounted) {
    RateHistory history;
    history.add("eth0", sample(-1000, 0, 0), sample(0, 0, 0));
    (void)history.rates("eth0", sample(400, 4000, 0));
    EXPECT_EQ(history.rates("eth0", sample(800, 4000, 0)), (Rates{5000, 0}));
}

TEST(RateHistory, OldestGivesWay) {
    RateHistory history;
    for (int i = 0; i < 65; ++i)
        history.add("veth" + std::to_string(i), sample(i - 100, 0, 0), sample(i, 0, 0));
    EXPECT_EQ(history.rates("veth0", sample(1000, 0, 0)), std::nullopt);
    EXPECT_NE(history.rates("veth1", sample(1000, 0, 0)), std::nullopt);
}

class InterfaceInfo : public Manager {
protected:
    static BusReply ask(const std::string& name) {
        return call("interfaces_monitor.get_info_interfaces", R"({"name_interface":")" + name + "\"}");
    }
    static double rate(const BusReply& reply, const char* key) {
        const json_t* value = json_object_get(reply.data(), key);
        EXPECT_TRUE(json_is_real(value)) << reply.text;
        return json_real_value(value);
    }
    static long long bytes(const BusReply& reply, const char* key) {
        return json_integer_value(json_object_get(reply.data(), key));
    }
};

TEST_F(InterfaceInfo, CountersAndRatesFollowTheTraffic) {
    shell("ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up");
    EXPECT_EQ(ask("eth0").error(), 0);
    send_through_eth0(50);
    std::this_thread::sleep_for(milliseconds(500));
    const long long before = counter("eth0", "tx.bytes");
    const BusReply reply = ask("eth0");
    EXPECT_EQ(reply.text.rfind("{\"error\": 0, \"data\": {\"rx_rate\": ", 0), 0U) << reply.text;
    EXPECT_GE(bytes(reply, "tx_bytes"), before);
    EXPECT_LE(bytes(reply, "tx_bytes"), counter("eth0", "tx.bytes"));
    EXPECT_GT(bytes(reply, "rx_bytes"), 0);
    EXPECT_GT(rate(reply, "tx_rate"), 0.0);
    EXPECT_LT(rate(reply, "tx_rate"), 100000.0);  // 50 datagrams of 1000 bytes in no less than half a second
}

TEST_F(InterfaceInfo, InterfaceMadeAnewStartsFromNothing) {
    const std::string make =
        "ip link add test1 type veth peer name test2; ip link set test1 up; ip link set test2 up;";
    const std::string traffic =
        "ip addr add 10.77.0.2/24 dev test1; ip neigh add 10.77.0.1 dev test1 lladdr 02:00:00:00:00:01;";
    shell(make + traffic + "ping -q -c 5 -i 0.2 -W 1 -s 1000 10.77.0.1 >/dev/null || true");
    ASSERT_EQ(ask("test1").error(), 0);
    shell("ip link del test1;" + make);
    const BusReply reply = ask("test1");
    EXPECT_EQ(rate(reply, "rx_rate"), 0.0) << reply.text;
    EXPECT_EQ(rate(reply, "tx_rate"), 0.0) << reply.text;
    shell("ip link del test1");
    EXPECT_EQ(ask("test1").error(), kNoSuchInterface);
}

}  // namespace
}  // namespace network::test
