#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "support/daemon.h"
#include "support/scripted_service.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

TEST(Dispatch, FindsMethodsByTheirExactNames) {
    const Daemon daemon;
    ASSERT_TRUE(daemon.serving() && daemon.settle_log());
    LogReader log(kDaemonLog);
    for (const char* name : {"A", "get_gateway_info", "Get_gateway_info2", "Get_gateway", "x", "%s%s%n"}) {
        EXPECT_EQ(bus_call(kDaemonService, name, "{\"a\": 1}").text,
                  R"({"data": "", "error": 1001, "error_message": "Unknown method", "meta": {"version": "1.0"}})");
    }
    EXPECT_EQ(log.text(), "") << "not a line in the log";
    EXPECT_EQ(bus_call(kDaemonService, "Get_port_status").text,
              R"({"data": "", "error": 1004, "error_message": "", "meta": {"version": "1.0"}})");
    const std::string last = "ERROR method: Get_port_status Callback failed, Ret: 1004";
    std::vector<std::string> lines;
    EXPECT_TRUE(wait_for_line(log, last, lines));
    EXPECT_EQ(LogReader::of_level(lines, ""),
              "DEBUG ==============API: Get_port_status==================\nDEBUG log_absolute_path: " +
                  std::string(kDaemonLog) +
                  "\nDEBUG Entering Get_port_status\nDEBUG bsh API: bsh NetworkService.api.get_currentGWinfo\n"
                  "ERROR Failed to execute NetworkService.api.get_currentGWinfo\nERROR Cannot get gateway info\n" +
                  last);
}

// Many clients at once with every kind of call, while the log is rotated and when it is not: nothing is mixed up,
// torn, lost (but in a rotation) or kept.
TEST(Dispatch, Storm) {
    constexpr int kClients = 8;
    constexpr int kRounds = 10;
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    const size_t before = daemon.open_descriptors();
    std::ofstream(kDaemonLog, std::ios::app) << std::string(2 << 20, 'x') << "\n";
    ScriptedService manager("NetworkService");
    const std::string gateway =
        R"({"error": 0, "data": [{"ifname": "wan", "interface_type": "", "metric": 1, "status": {}}]})";
    manager.answer("api.get_currentGWinfo", gateway);
    const std::pair<const char*, int> calls[] = {
        {"nobody", 1001},           {"Get_port_status", 0}, {"Get_public_ip", 1005},
        {"Get_corvanetoken", 1010}, {"Flush_timeout", 0},   {"Update_and_check_timeout", 0},
    };
    constexpr int kCalls = kClients * kRounds;
    std::map<std::string, int>
        lines[2];  // by their text up to a number: while the log is rotated, and when it is not
    for (auto& seen : lines) {
        const bool settled = &seen == &lines[1];
        LogReader log(kDaemonLog);
        {
            std::vector<std::jthread> clients;
            for (int client = 0; client < kClients; client++) {
                clients.emplace_back([&] {
                    for (size_t i = 0; i < kRounds * std::size(calls); i++) {
                        const auto& [method, error] = calls[i % std::size(calls)];
                        EXPECT_EQ(bus_call(kDaemonService, method, "[]").error(), error) << method;
                    }
                });
            }
        }
        EXPECT_EQ(bus_call(kDaemonService, "Get_port_status", std::string(2 << 20, 'x')).result, BS_CALL_TOO_LARGE);
        EXPECT_TRUE(wait_until([&] {
            for (const std::string& line : log.lines())
                seen[line.substr(0, line.find_first_of("0123456789"))]++;
            return settled ? seen["ERROR method: Get_public_ip Callback failed, Ret: "] == kCalls &&
                                 seen["ERROR method: Get_corvanetoken Callback failed, Ret: "] == kCalls
                           : fs::exists(kDaemonLog + std::string(".1")) && fs::exists(kDaemonLog);
        }));
    }
    for (const auto& [line, count] : lines[0])
        EXPECT_TRUE(lines[1].contains(line)) << "torn: " << line;
    for (const auto& [line, count] : lines[1])
        EXPECT_EQ(count % kCalls, 0) << line;
    EXPECT_TRUE(wait_until([&] { return daemon.open_descriptors() <= before; }))
        << before << " before, " << daemon.open_descriptors();
    EXPECT_EQ(daemon.stop().status, 0);
}

}  // namespace
}  // namespace harbex::test
