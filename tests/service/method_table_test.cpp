#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/daemon.h"
#include "support/scripted_service.h"

namespace harbex::test {
namespace {

constexpr const char* kQuery = "api.get_currentGWinfo";
constexpr const char* kUnknown =
    R"({"data": "", "error": 1001, "error_message": "Unknown method", "meta": {"version": "1.0"}})";

class Dispatch : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(daemon_.serving() && log_.settle()); }

    Daemon daemon_;
    ServiceLogReader log_;
};

TEST_F(Dispatch, UnknownMethods) {
    for (const char* name : {"A", "get_gateway_info", "Get_gateway_info2", "Get_gateway", "x", "%s%s%n"}) {
        const BusReply reply = bus_call(kDaemonService, name, "{\"a\": 1}");
        EXPECT_EQ(reply.result, BS_CALL_OK) << name;
        EXPECT_EQ(reply.text, kUnknown) << name;
    }
    EXPECT_EQ(log_.lines(), std::vector<std::string>()) << "not a line in the log";
}

TEST_F(Dispatch, FoundMethodIsLoggedWithItsFailure) {
    const BusReply reply = bus_call(kDaemonService, "Get_port_status");
    EXPECT_EQ(reply.text, R"({"data": "", "error": 1004, "error_message": "", "meta": {"version": "1.0"}})");
    const std::string last = "ERROR method: Get_port_status Callback failed, Ret: 1004";
    EXPECT_EQ(log_.lines_until(last), (std::vector<std::string>{
                                          "DEBUG ==============API: Get_port_status==================",
                                          "DEBUG log_absolute_path: " + daemon_log(),
                                          "DEBUG Entering Get_port_status",
                                          "DEBUG bsh API: bsh NetworkService.api.get_currentGWinfo",
                                          "ERROR Failed to execute NetworkService.api.get_currentGWinfo",
                                          "ERROR Cannot get gateway info",
                                          last,
                                      }));
}

// Every kind of call, many times over: answered, unknown, refused by a mangled, silent or absent network manager,
// with a body that is no JSON, with one that is too large.
TEST_F(Dispatch, KeepsNoDescriptors) {
    const size_t before = daemon_.open_descriptors();
    const auto call_all = [](int rounds) {
        for (int i = 0; i < rounds; i++) {
            for (const char* method : {"Get_gateway_info", "Get_rxtx_bytecount", "Get_port_status", "nobody"}) {
                EXPECT_EQ(bus_call(kDaemonService, method, "no JSON").result, BS_CALL_OK);
            }
        }
    };
    call_all(50);
    {
        ScriptedService manager("NetworkService");
        call_all(50);
        for (const char* answer : {"garbage", R"({"error": 0, "data": []})"}) {
            manager.answer(kQuery, answer);
            call_all(50);
        }
    }
    EXPECT_EQ(bus_call(kDaemonService, "Get_port_status", std::string(2 << 20, 'x')).result, BS_CALL_TOO_LARGE);
    EXPECT_TRUE(wait_until([&] { return daemon_.open_descriptors() <= before; }))
        << before << " before, " << daemon_.open_descriptors() << " after";
}

TEST_F(Dispatch, ManyClientsAtOnce) {
    constexpr int kClients = 8;
    constexpr int kCalls = 25;
    ScriptedService manager("NetworkService");
    const std::string gateways =
        R"({"error": 0, "data": [{"ifname": "wan", "interface_type": "ethernet", "metric": 1, )"
        R"("status": {"link_running": 1, "physical_loc": "Port 7"}}]})";
    manager.answer(kQuery, gateways);
    std::vector<std::vector<std::string>> replies(kClients);
    std::vector<std::jthread> clients;
    for (auto& mine : replies) {
        clients.emplace_back([&mine] {
            for (int i = 0; i < kCalls; i++)
                mine.push_back(bus_call(kDaemonService, "Get_port_status").text);
        });
    }
    clients.clear();
    const std::vector<std::string> expected(
        kCalls,
        R"({"data": [{"carrier_status": true, "port_name": "PORT7"}], "error": 0, "meta": {"version": "1.0"}})");
    for (const auto& mine : replies)
        EXPECT_EQ(mine, expected);

    std::map<std::string, int> lines;
    for (const std::string& line : log_.lines())
        lines[line]++;
    const int total = kClients * kCalls;
    EXPECT_EQ(lines, (std::map<std::string, int>{
                         {"DEBUG ==============API: Get_port_status==================", total},
                         {"DEBUG log_absolute_path: " + daemon_log(), total},
                         {"DEBUG Entering Get_port_status", total},
                         {"DEBUG bsh API: bsh NetworkService.api.get_currentGWinfo", total},
                         {"DEBUG Response: " + gateways + " " + std::to_string(gateways.size()), total},
                     }));
}

}  // namespace
}  // namespace harbex::test
