#include "service/timeouts.h"

#include <regex>

#include "service_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "Update_and_check_timeout";
const std::string kNone = R"({"is_mqtt_timeout": false, "is_ipsec_timeout": false})";

TEST(Timeouts, JudgesReports) {
    constexpr int64_t kNow = 4'102'444'800;  // past 2038, on the NAS, too
    const struct {
        const char* name;
        int64_t since_reference_s;
        int64_t new_reference;
        bool good;
        bool timeout;
    } cases[] = {
        {"good, in time for a time-out", 90, kNow, true, false},
        {"bad, just above a minute", 61, kNow - 60, false, true},
        {"bad, two minutes after", 120, kNow - 60, false, true},
        {"bad, longer ago: starts over", 121, kNow, false, false},
    };
    for (const auto& c : cases) {
        int64_t reference = kNow - c.since_reference_s;
        EXPECT_EQ(service::judge_report(c.good, kNow, reference), c.timeout) << c.name;
        EXPECT_EQ(reference, c.new_reference) << c.name;
    }
}

using TimeoutMethods = ServiceNas;

TEST_F(TimeoutMethods, EachLinkHasItsReferenceTime) {
    static const std::regex lines(
        "DEBUG Update_and_check_timeout: mqtt_timestamp: (\\d+), now: (\\d+), delta: \\d+\n"
        "DEBUG Update_and_check_timeout: ipsec_timestamp: (\\d+), now: \\2, delta: \\d+\n"
        "DEBUG Status updated: mqtt_status=\\d, vpn_status=\\d, is_mqtt_timeout=0, is_ipsec_timeout=0");
    // The second it came in, and the reference times of both links before it.
    struct Report {
        std::string now, mqtt, ipsec;
    };
    const auto report = [&](const std::string& mqtt, const std::string& vpn) {
        EXPECT_TRUE(wait_until([begin = time(nullptr)] { return time(nullptr) > begin; }));
        const Answer answer = call(kMethod, R"({"mqtt_status": )" + mqtt + R"(, "vpn_status": )" + vpn + "}");
        EXPECT_EQ(answer.reply, envelope(kSuccess, kNone));
        std::smatch found;
        EXPECT_TRUE(std::regex_match(answer.lines, found, lines)) << answer.lines;
        return Report{found[2], found[1], found[3]};
    };
    const Report first = report("true", "true");
    const Report second = report("true", "false");
    EXPECT_EQ(second.mqtt + second.ipsec, first.now + first.now);
    const Report third = report("false", "true");
    EXPECT_EQ(third.mqtt + third.ipsec, second.now + first.now);
    EXPECT_EQ(call("Flush_timeout", "whatever").reply, envelope(kSuccess, R"({"message": "Timeout state flushed"})"));
    const Report flushed = report("true", "true");
    EXPECT_EQ(flushed.mqtt + flushed.ipsec, "00");
    expect_requests(kMethod, {{"", 1003, "No input data", "Failed to read input data"},
                              {R"({"mqtt_status": 1, "vpn_status": "true"})", kSuccess, kNone,
                               "Missing or invalid mqtt_status field\nMissing or invalid vpn_status field"}});
}

}  // namespace
}  // namespace harbex::test
