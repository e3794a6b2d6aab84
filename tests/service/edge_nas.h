// A NAS whose network manager says what it is told to, beside the appliance's own edge daemon.
#pragma once

#include <optional>

#include "service_nas.h"
#include "support/scripted_service.h"

namespace harbex::test {

inline constexpr const char* kGatewayQuery = "api.get_currentGWinfo";
inline constexpr const char* kCounterQuery = "interfaces_monitor.get_info_interfaces";
inline constexpr const char* kCounters =
    R"({"rx_rate": 1543.21, "tx_rate": 1e12, "rx_bytes": 4294967297, "tx_bytes": 11})";

class EdgeNas : public ServiceNas {
protected:
    static void SetUpTestSuite() {
        ServiceNas::SetUpTestSuite();
        ASSERT_EQ(shell("appliance-service stop NetworkService").status, 0);
    }
    static void TearDownTestSuite() { EXPECT_EQ(shell("appliance-service start NetworkService").status, 0); }
    void SetUp() override {
        manager_.emplace("NetworkService");
        gateway_is("ethernet", 1);
        counters_are(kCounters);
        ServiceNas::SetUp();
        (void)edge_calls();
    }
    void TearDown() override {
        ServiceNas::TearDown();
        manager_.reset();
    }

    ScriptedService<>& manager() { return *manager_; }
    void gateway_is(const std::string& type, int link) {
        manager_->answer(kGatewayQuery, R"({"error": 0, "data": [{"ifname": "wan7", "interface_type": ")" + type +
                                            R"(", "metric": 5, "status": {"link_running": )" + std::to_string(link) +
                                            R"(, "vlan_id": 12, "IPv4": [{"ip": "192.0.2.7", "netmask": )"
                                            R"("255.255.255.0"}], "tx_bytes_count": 1, "rx_bytes_count": 2, )"
                                            R"("tx_packets_count": 3, "rx_packets_count": 4294967300}}]})");
    }
    void counters_are(const std::string& counters) {
        manager_->answer(kCounterQuery, R"({"error": 0, "data": )" + counters + "}");
    }

    // What the edge daemon was asked since the last question, each as "METHOD REQUEST".
    static std::vector<std::string> edge_calls() {
        constexpr const char* kLog = "/var/log/corvane_expressd.log";
        std::istringstream lines(read_text(kLog));
        std::filesystem::remove(kLog);
        std::vector<std::string> calls;
        for (std::string line; std::getline(lines, line);) {
            const JsonOwner entry = parse(line);
            calls.push_back(at(entry.get(), {"method"}) + " " + at(entry.get(), {"request"}));
        }
        return calls;
    }

private:
    std::optional<ScriptedService<>> manager_;
};

}  // namespace harbex::test
