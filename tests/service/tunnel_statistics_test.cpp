#include "service/tunnel_statistics.h"

#include "edge_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "Get_rxtx";

using TunnelStatistics = EdgeNas;

TEST_F(TunnelStatistics, CountersAndTunnels) {
    EXPECT_EQ(
        shell(R"(edge_state change '{"tunnels": {"router": {"hub-1": 2}, "supernode": {"super-1": 1}}}')").status, 0);
    const Outcome outcome = call(kMethod, "whatever");
    EXPECT_EQ(
        outcome.reply,
        success(R"({"interface": {"name": "wan7", "rx_bytes": 4294967297, "tx_bytes": 11, "rx_rate": 12.34568, )"
                R"("tx_rate": 8000000000.0, "rx_packets_count": 4294967300, "tx_packets_count": 3}, )"
                R"("tunnels": {"router": {"hub-1": 2}, "supernode": {"super-1": 1}}})"));
    EXPECT_EQ(outcome.errors(), std::vector<std::string>());
    EXPECT_EQ(edge_calls(), std::vector<std::string>{"GetIpsecStatus "});
    EXPECT_EQ(shell(R"(edge_state change '{"tunnels": null}')").status, 0);
    EXPECT_NE(call(kMethod).reply.find(R"("tunnels": {"router": {}, "supernode": {}})"), std::string::npos);
}

TEST_F(TunnelStatistics, PartsThatFail) {
    const std::string refused = refusal(1004, "");
    const struct {
        const char* name;
        const char* fault;
        std::string error;
    } cases[] = {
        {"hung up", "close", "Failed to execute corvane_expressd.GetIpsecStatus"},
        {"empty", "body:", "Failed to read response"},
        {"refused", R"(body:{"error":7})", "Failed to check bsh response"},
        {"no data", R"(body:{"error":0})", "Failed to get data"},
    };
    for (const auto& c : cases) {
        const Fault fault("corvane_expressd.GetIpsecStatus", c.fault);
        expect_call(c.name, kMethod, "", refused, {c.error});
    }
    (void)edge_calls();
    counters_are(R"({"rx_rate": 1.0})");
    expect_call("counters", kMethod, "", refusal(1013, ""), {"Failed to get rx_rate, tx_bytes, tx_rate, rx_bytes"});
    manager().answer(kGatewayQuery, R"({"error": 0, "data": {}})");
    expect_call("no candidates", kMethod, "", refusal(1003, ""), {"Data is not an array", "Cannot get gateway info"});
    manager().hang_up(kGatewayQuery);
    expect_call("no manager", kMethod, "", refused,
                {"Failed to execute NetworkService.api.get_currentGWinfo", "Cannot get gateway info"});
    EXPECT_EQ(edge_calls(), std::vector<std::string>()) << "asked for nothing";
}

}  // namespace
}  // namespace harbex::test
