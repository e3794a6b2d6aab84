#include "service/timeouts.h"

#include <regex>
#include <thread>

#include "service_nas.h"

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
        {"good", 30, kNow, true, false},
        {"good, long after", 100'000, kNow, true, false},
        {"good, in time for a time-out", 90, kNow, true, false},
        {"bad at once", 0, kNow, false, false},
        {"bad, a minute after", 60, kNow - 60, false, false},
        {"bad, just above a minute", 61, kNow - 60, false, true},
        {"bad, two minutes after", 120, kNow - 60, false, true},
        {"bad, longer ago: starts over", 121, kNow, false, false},
        {"bad, the first ever", kNow, kNow, false, false},
        {"bad, clock set back", -500, kNow + 500, false, false},
        {"good, clock set back", -500, kNow, true, false},
    };
    for (const auto& c : cases) {
        int64_t reference = kNow - c.since_reference_s;
        EXPECT_EQ(service::judge_report(c.good, kNow, reference), c.timeout) << c.name;
        EXPECT_EQ(reference, c.new_reference) << c.name;
    }

    // A failure that lasts: every further bad report within a minute of the one before.
    int64_t reference = kNow;
    EXPECT_TRUE(service::judge_report(false, kNow + 61, reference));
    EXPECT_TRUE(service::judge_report(false, kNow + 62, reference));
    EXPECT_TRUE(service::judge_report(false, kNow + 122, reference));
    EXPECT_FALSE(service::judge_report(false, kNow + 183, reference));
}

constexpr const char* kMethod = "Update_and_check_timeout";
const std::string kNone = success(R"({"is_mqtt_timeout": false, "is_ipsec_timeout": false})");

using TimeoutMethods = ServiceNas;

TEST_F(TimeoutMethods, JudgesRequests) {
    const std::string no_mqtt = "Missing or invalid mqtt_status field";
    const std::string no_vpn = "Missing or invalid vpn_status field";
    const struct {
        const char* name;
        std::string request;
        std::string reply;
        std::vector<std::string> errors;
        std::string taken;  // as "mqtt_status=…, vpn_status=…"; "" when refused
    } cases[] = {
        {"both good", R"({"mqtt_status": true, "vpn_status": true})", kNone, {}, "mqtt_status=1, vpn_status=1"},
        {"one good", R"({"mqtt_status": false, "vpn_status": true})", kNone, {}, "mqtt_status=0, vpn_status=1"},
        {"other types",
         R"({"mqtt_status": 1, "vpn_status": "true"})",
         kNone,
         {no_mqtt, no_vpn},
         "mqtt_status=0, vpn_status=0"},
        {"one missing", R"({"mqtt_status": true})", kNone, {no_vpn}, "mqtt_status=1, vpn_status=0"},
        {"no object", "[true, true]", kNone, {no_mqtt, no_vpn}, "mqtt_status=0, vpn_status=0"},
        {"nothing", "", refusal(1003, "No input data"), {"Failed to read input data"}, ""},
        {"cut short",
         R"({"mqtt_status": true)",
         refusal(1003, "Invalid JSON input"),
         {"Failed to parse JSON: '}' expected near end of file"},
         ""},
    };
    for (const auto& c : cases) {
        const Outcome outcome = call(kMethod, c.request);
        EXPECT_EQ(outcome.reply, c.reply) << c.name;
        EXPECT_EQ(outcome.errors(), c.errors) << c.name;
        const std::string last = outcome.lines.empty() ? "" : outcome.lines.back();
        if (c.taken.empty()) continue;
        EXPECT_EQ(last, "DEBUG Status updated: " + c.taken + ", is_mqtt_timeout=0, is_ipsec_timeout=0") << c.name;
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
    EXPECT_GT(second.now, first.now);
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
    std::vector<std::thread> reporters;
    reporters.reserve(6);
    for (int i = 0; i < 6; i++) {
        reporters.emplace_back([i] {
            for (int j = 0; j < 10; j++) {
                const std::string good = i % 2 == 0 ? "true" : "false";
                const std::string body = R"({"mqtt_status": )" + good + R"(, "vpn_status": false})";
                EXPECT_EQ(bus_call(kDaemonService, i == 5 ? "Flush_timeout" : kMethod, body).error(), 0);
            }
        });
    }
    for (std::thread& reporter : reporters)
        reporter.join();
}

}  // namespace
}  // namespace harbex::test
