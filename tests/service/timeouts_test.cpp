#include "service/timeouts.h"

#include <regex>

#include "service_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "Update_and_check_timeout";
const std::string kNone = R"({"is_mqtt_timeout": false, "is_ipsec_timeout": false})";

TEST(Timeouts, JudgesReports) {
    constexpr int64_t kNow = 1'800'000'000;
    const struct {
        const char* name;
        int64_t since_reference_s;
        int64_t new_reference;
        bool good;
        bool timeout;
    } cases[] = {
        {"good, in time for a time-out", 90, kNow, true, false},
        {"bad, a minute after", 60, kNow - 60, false, false},
        {"bad, just above a minute", 61, kNow - 60, false, true},
        {"bad, two minutes after", 120, kNow - 60, false, true},
        {"bad, longer ago: starts over", 121, kNow, false, false},
        {"bad, clock set back", -500, kNow + 500, false, false},
    };
    for (const auto& c : cases) {
        int64_t reference = kNow - c.since_reference_s;
        EXPECT_EQ(service::judge_report(c.good, kNow, reference), c.timeout) << c.name;
        EXPECT_EQ(reference, c.new_reference) << c.name;
    }
}

using TimeoutMethods = ServiceNas;

TEST_F(TimeoutMethods, EachLinkHasItsReferenceTime) {
    // One report a row: "mqtt vpn", and which report set the reference time that each link had before it (0: none).
    const struct {
        const char *mqtt, *vpn;
        size_t mqtt_reference, ipsec_reference;
    } reports[] = {{"true", "true", 0, 0}, {"true", "false", 1, 1}, {"false", "true", 2, 1}, {"true", "true", 0, 0}};
    std::vector<long long> times{0};
    for (const auto& report : reports) {
        if (times.size() == std::size(reports)) {
            const Answer flushed = call("Flush_timeout", "whatever");
            EXPECT_EQ(flushed.reply + flushed.lines, envelope(kSuccess, R"({"message": "Timeout state flushed"})"));
        }
        EXPECT_TRUE(wait_until([&] { return time(nullptr) > times.back(); }));
        const Answer answer = call(
            kMethod, std::string(R"({"mqtt_status": )") + report.mqtt + R"(, "vpn_status": )" + report.vpn + "}");
        EXPECT_EQ(answer.reply, envelope(kSuccess, kNone));
        std::smatch now;
        ASSERT_TRUE(std::regex_search(answer.lines, now, std::regex("now: (\\d+)"))) << answer.lines;
        times.push_back(std::stoll(now[1]));
        const auto line = [&](const char* name, size_t reference) {
            return std::string("DEBUG Update_and_check_timeout: ") + name +
                   "_timestamp: " + std::to_string(times[reference]) + ", now: " + now.str(1) +
                   ", delta: " + std::to_string(times.back() - times[reference]) + "\n";
        };
        EXPECT_EQ(answer.lines, line("mqtt", report.mqtt_reference) + line("ipsec", report.ipsec_reference) +
                                    "DEBUG Status updated: mqtt_status=" + (*report.mqtt == 't' ? "1" : "0") +
                                    ", vpn_status=" + (*report.vpn == 't' ? "1" : "0") +
                                    ", is_mqtt_timeout=0, is_ipsec_timeout=0");
    }
    const std::string cut_short = R"({"mqtt_status": true)";
    expect_requests(kMethod,
                    {{"", 1003, "No input data", "Failed to read input data"},
                     {cut_short, 1003, "Invalid JSON input", "Failed to parse JSON: " + parser_text(cut_short)},
                     {R"({"mqtt_status": 1, "vpn_status": "true"})", kSuccess, kNone,
                      "Missing or invalid mqtt_status field\nMissing or invalid vpn_status field"}});
}

}  // namespace
}  // namespace harbex::test
