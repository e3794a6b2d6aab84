#include "service/logger.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/service_log.h"

namespace harbex::service {
namespace {

using Lines = std::vector<std::string>;

// Sends the log into a text.
class ServiceLog : public testing::Test {
protected:
    ServiceLog() { Logger::out = &text_; }
    ~ServiceLog() override { Logger::out = nullptr; }

    std::vector<std::string> take() {
        const std::string text = text_.str();
        text_.str("");
        return test::log_lines(text);
    }

    std::ostringstream text_;
};

TEST_F(ServiceLog, OnlyTwoLevelsHaveNames) {
    Logger::Log(INFO, "zero");
    Logger::Log(DEBUG, "one");
    Logger::Log(ERROR, "two %d", 2);
    Logger::Log(FATAL, "three");
    EXPECT_EQ(take(), (Lines{"UNKNOWN zero", "DEBUG one", "ERROR two 2", "UNKNOWN three"}));
}

TEST_F(ServiceLog, NoMessageIsCut) {
    for (const size_t length : {0U, 511U, 512U, 513U, 100000U}) {
        const std::string message = std::string(length, 'x');
        Logger::Log(DEBUG, "%s", message.c_str());
        EXPECT_EQ(take(), Lines{"DEBUG " + message}) << length;
    }
}

TEST_F(ServiceLog, MessageThatCannotBeFormattedLeavesItsPrefix) {
    const wchar_t unpaired[] = {static_cast<wchar_t>(0xd800), 0};
    Logger::Log(DEBUG, "%ls", unpaired);
    Logger::Log(DEBUG, "next");
    const Lines lines = take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(test::without_time(lines[0].substr(6)), "DEBUG next") << lines[0];
}

TEST(RotationDue, AfterMoreThanAMinute) {
    const struct {
        const char* name;
        int64_t now_s, last_s;
        bool due;
    } cases[] = {
        {"60 seconds", 1700000060, 1700000000, false},
        {"61 seconds", 1700000061, 1700000000, true},
        {"clock set back", 1600000000, 1700000000, false},
        {"beyond 32 bits", 4294967356, 4294967295, true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(is_rotation_due(c.now_s, c.last_s), c.due) << c.name;
}

}  // namespace
}  // namespace harbex::service
