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
    counters_are(R"({"rx_rate": 1000, "tx_rate": 0, "rx_bytes": 1, "tx_bytes": 2})");
    expect_call("whole numbers, no tunnels", kMethod, "",
                success(R"({"interface": {"name": "wan7", "rx_bytes": 1, "tx_bytes": 2, "rx_rate": 8.0, )"
                        R"("tx_rate": 0.0, "rx_packets_count": 4294967300, "tx_packets_count": 3}, )"
                        R"("tunnels": {"router": {}, "supernode": {}}})"),
                {});
}

TEST_F(TunnelStatistics, PartsThatFail) {
    const std::string refused = refusal(1004, "");
    expect_faults("corvane_expressd.GetIpsecStatus", kMethod, "",
                  {
                      {"hung up", "close", refused, {"Failed to execute corvane_expressd.GetIpsecStatus"}},
                      {"refused", R"(body:{"error":7})", refused, {"Failed to check bsh response"}},
                      {"no data", R"(body:{"error":0})", refused, {"Failed to get data"}},
                  });
    (void)edge_calls();
    const std::pair<const char*, const char*> counters[] = {
        {"", "Failed to read response"},
        {R"({"error": 1})", "Failed to check bsh response"},
        {R"({"error": 0})", "Failed to get data"},
        {R"({"error": 0, "data": {"rx_rate": 1.0, "tx_rate": 1.0, "rx_bytes": 1}})",
         "Failed to get rx_rate, tx_bytes, tx_rate, rx_bytes"},
    };
    for (const auto& [answer, error] : counters) {
        manager().answer(kCounterQuery, answer);
        expect_call(answer, kMethod, "", refusal(1013, ""), {error});
    }
    manager().answer(kGatewayQuery, R"({"error": 0, "data": {}})");
    expect_call("no candidates", kMethod, "", refusal(1003, ""), {"Data is not an array", "Cannot get gateway info"});
    EXPECT_EQ(edge_calls(), std::vector<std::string>()) << "asked for nothing";
}

}  // namespace
}  // namespace harbex::test
