#include "service/timeouts.h"

#include <regex>
#include <thread>

#include "service_nas.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

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

constexpr const char* kMethod = "Update_and_check_timeout";
const std::string kNone = success(R"({"is_mqtt_timeout": false, "is_ipsec_timeout": false})");

using TimeoutMethods = ServiceNas;

TEST_F(TimeoutMethods, JudgesRequests) {
    const char* cut_short = R"({"mqtt_status": true)";
    const char* other_types = R"({"mqtt_status": 1, "vpn_status": "true"})";
    expect_rows(kMethod, {
                             {"nothing", "", refusal(1003, "No input data"), {"Failed to read input data"}},
                             {"cut short",
                              cut_short,
                              refusal(1003, "Invalid JSON input"),
                              {"Failed to parse JSON: " + parser_text(cut_short)}},
                             {"other types",
                              other_types,
                              kNone,
                              {"Missing or invalid mqtt_status field", "Missing or invalid vpn_status field"}},
                         });
    const std::pair<std::string, std::string> taken[] = {
        {R"({"mqtt_status": false, "vpn_status": true})", "mqtt_status=0, vpn_status=1"},
        {other_types, "mqtt_status=0, vpn_status=0"},
    };
    for (const auto& [request, status] : taken) {
        const std::vector<std::string> lines = call(kMethod, request).lines;
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), "DEBUG Status updated: " + status + ", is_mqtt_timeout=0, is_ipsec_timeout=0");
    }
}

TEST_F(TimeoutMethods, EachLinkHasItsReferenceTime) {
    struct Seen {
        long long mqtt = -1, ipsec = -1, now = -1;
    };
    // What the daemon had before this report, and its clock.
    const auto report = [&](const char* request) {
        static const std::regex line(
            "DEBUG Update_and_check_timeout: (mqtt|ipsec)_timestamp: (\\d+), now: (\\d+), delta: (\\d+)");
        Seen seen;
        const Outcome outcome = call(kMethod, request);
        EXPECT_EQ(outcome.reply, kNone);
        EXPECT_EQ(outcome.lines.size(), 3U);
        for (const std::string& text : outcome.lines) {
            std::smatch match;
            if (!std::regex_match(text, match, line)) continue;
            (match[1] == "mqtt" ? seen.mqtt : seen.ipsec) = std::stoll(match[2]);
            seen.now = std::stoll(match[3]);
            EXPECT_EQ(std::stoll(match[4]), std::stoll(match[3]) - std::stoll(match[2])) << text;
        }
        return seen;
    };
    const auto next_second = [](long long now) { EXPECT_TRUE(wait_until([now] { return time(nullptr) > now; })); };
    constexpr const char* kBothGood = R"({"mqtt_status": true, "vpn_status": true})";
    const Seen first = report(kBothGood);
    EXPECT_EQ(first.mqtt, 0);
    EXPECT_EQ(first.ipsec, 0);
    next_second(first.now);
    const Seen second = report(R"({"mqtt_status": true, "vpn_status": false})");
    EXPECT_EQ(second.mqtt, first.now);
    EXPECT_EQ(second.ipsec, first.now);
    next_second(second.now);
    const Seen third = report(R"({"mqtt_status": false, "vpn_status": true})");
    EXPECT_EQ(third.mqtt, second.now);
    EXPECT_EQ(third.ipsec, first.now);

    const Outcome flushed = call("Flush_timeout", "whatever");
    EXPECT_EQ(flushed.reply, success(R"({"message": "Timeout state flushed"})"));
    EXPECT_EQ(flushed.lines, std::vector<std::string>());
    const Seen fourth = report(kBothGood);
    EXPECT_EQ(fourth.mqtt, 0);
    EXPECT_EQ(fourth.ipsec, 0);
}

TEST_F(TimeoutMethods, ManyReportersAtOnce) {
    std::vector<std::jthread> reporters;
    for (const char* method : {kMethod, kMethod, kMethod, "Flush_timeout"}) {
        reporters.emplace_back([method] {
            for (int i = 0; i < 15; i++)
                EXPECT_EQ(bus_call(kDaemonService, method, R"({"mqtt_status": true})").error(), 0);
        });
    }
}

}  // namespace
}  // namespace harbex::test
