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
        {"too soon: the last rates", sample(499, 90000, 90000), Rates{1000, 2000}},
        {"received bytes went back", sample(1000, 9999, 30000), Rates{0, 0}},
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
    EXPECT_EQ(ask("eth0").error(), 0);
    send_through_eth0(20);
    std::this_thread::sleep_for(milliseconds(500));
    const long long before = counter("tx.bytes");
    const BusReply reply = ask("eth0");
    EXPECT_EQ(reply.text.rfind("{\"error\": 0, \"data\": {\"rx_rate\": ", 0), 0U) << reply.text;
    EXPECT_GE(bytes(reply, "tx_bytes"), before);
    EXPECT_LE(bytes(reply, "tx_bytes"), counter("tx.bytes"));
    EXPECT_GT(bytes(reply, "rx_bytes"), 0);
    EXPECT_GT(rate(reply, "tx_rate"), 0.0);
    EXPECT_LT(rate(reply, "tx_rate"), 100000.0);  // 20 datagrams of 1000 bytes in no less than half a second
}

}  // namespace
}  // namespace network::test
