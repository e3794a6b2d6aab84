#include "service/logger.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/daemon.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;
using service::Logger;
using Lines = std::vector<std::string>;

TEST(ServiceLog, LinesAreWholeAndTwoLevelsHaveNames) {
    std::ostringstream text;
    Logger::out = &text;
    Logger::Log(service::INFO, "zero");
    Logger::Log(service::DEBUG, "one");
    Logger::Log(service::ERROR, "two %d", 2);
    Logger::Log(service::FATAL, "three");
    Lines expected{"UNKNOWN zero", "DEBUG one", "ERROR two 2", "UNKNOWN three"};
    for (const size_t length : {0U, 511U, 512U, 513U, 100000U}) {
        expected.push_back("DEBUG " + std::string(length, 'x'));
        Logger::Log(service::DEBUG, "%s", expected.back().c_str() + 6);
    }
    const wchar_t unpaired[] = {static_cast<wchar_t>(0xd800), 0};
    Logger::Log(service::DEBUG, "%ls", unpaired);
    Logger::Log(service::DEBUG, "next");
    Logger::out = nullptr;
    Lines lines = log_lines(text.str());
    EXPECT_EQ(log_lines(lines.back().substr(6)), Lines{"DEBUG next"}) << "what cannot be formatted leaves its prefix";
    lines.pop_back();
    EXPECT_EQ(lines, expected);
}

TEST(RotationDue, AfterMoreThanAMinute) {
    EXPECT_FALSE(service::is_rotation_due(1700000060, 1700000000));
    EXPECT_TRUE(service::is_rotation_due(1700000061, 1700000000));
    EXPECT_FALSE(service::is_rotation_due(1600000000, 1700000000)) << "clock set back";
    EXPECT_TRUE(service::is_rotation_due(4294967356, 4294967295)) << "beyond 32 bits";
}

class ServiceLogRotation : public testing::Test {
protected:
    static constexpr size_t kLimit = 2097152;

    ServiceLogRotation() { clear(); }
    ~ServiceLogRotation() override { clear(); }
    static void clear() {
        for (const char* end : {"", ".1", ".2"})
            fs::remove(kDaemonLog + std::string(end));
    }
    static bool has_generation(const std::string& number) { return fs::exists(kDaemonLog + ("." + number)); }

    // Calls a method that is there until `condition` holds: the rotation check comes behind the reply.
    static bool call_until(const std::function<bool()>& condition) {
        return wait_until([&] {
            (void)bus_call(kDaemonService, "Flush_timeout");
            return condition();
        });
    }
    static bool call_20_times() {
        int calls = 0;
        return call_until([&] { return ++calls == 20; });
    }
    static void fill_log() {
        std::ofstream(kDaemonLog, std::ios::app)
            << std::string(kLimit - static_cast<size_t>(fs::file_size(kDaemonLog)) - 1, 'x') << "\n";
    }
};

TEST_F(ServiceLogRotation, ByTheFirstCallThatFindsItsMethodThenNotWithinAMinute) {
    const Daemon daemon;
    const std::string head = read_text(kDaemonLog);
    fill_log();
    (void)bus_call(kDaemonService, "nobody");
    EXPECT_FALSE(has_generation("1")) << "an unknown method rotates nothing";
    ASSERT_TRUE(call_until([] { return has_generation("1") && !read_text(kDaemonLog).empty(); }));
    EXPECT_TRUE(read_text(std::string(kDaemonLog) + ".1").starts_with(head));
    EXPECT_LT(fs::file_size(kDaemonLog), kLimit);
    fill_log();
    ASSERT_TRUE(call_20_times());
    EXPECT_FALSE(has_generation("2"));
}

TEST_F(ServiceLogRotation, LogThatCannotBeReopenedEndsTheDaemon) {
    Daemon daemon;
    const ReplacedTool getcfg("/sbin/getcfg", "echo /nowhere");
    EXPECT_EQ(bus_call(kDaemonService, "Flush_timeout").error(), 0) << "answered before the check";
    const Finished end = daemon.stop(0);
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "Failed to open log file: /nowhere/var/log/harbex_network_service.log\n");
}

}  // namespace
}  // namespace harbex::test
