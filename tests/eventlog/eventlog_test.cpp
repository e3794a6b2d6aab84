#include "eventlog/event_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "eventlog/nc_msg_db.h"
#include "support/files.h"
#include "support/run_program.h"

namespace {

using harbex::nclog::notify_send;
constexpr const char* kNotificationLog = "/var/log/notification.log";
constexpr const char* kEventLog = "/var/log/event.log";
constexpr const char* kEnd = nullptr;

// The tool runs detached; its effect is waited for.
std::string wait_for_lines(const char* path, std::ptrdiff_t count) {
    std::string text;
    (void)harbex::test::wait_until([&] {
        text = harbex::test::read_text(path);
        return std::count(text.begin(), text.end(), '\n') >= count;
    });
    return text;
}

// A script in the tool's place writes its arguments and its open descriptors.
TEST(Notification, ToolGetsItsArgumentsAndNothingElse) {
    const harbex::test::ReplacedTool tool("/usr/local/sbin/notify",
                                          "{ printf '%s\\n' \"$@\"; ls -l /proc/$$/fd; } >/tmp/notify.new\n"
                                          "mv /tmp/notify.new /tmp/notify.seen");
    const int inherited = open("/tmp", O_RDONLY);  // on purpose without O_CLOEXEC
    notify_send(&harbex::__NC_MSG_DB__[3], "alice \"$(id)\" b", kEnd);
    const std::string seen = wait_for_lines("/tmp/notify.seen", 1);
    close(inherited);
    EXPECT_EQ(0U, seen.find("send\n-A\nA238\n-C\nC001\n-M\n0004\n-l\ninfo\n-t\n3\n"
                            "[{0}] Applied the privilege settings for \"{1}\".\nHarbex Service\nalice \"$(id)\" b\n"))
        << seen;
    EXPECT_EQ(std::string::npos, seen.find("-> /tmp\n")) << seen;
}

TEST(Notification, TakesTwelveValuesOneForEachUserAndLeavesNoZombie) {
    unlink(kNotificationLog);
    notify_send(&harbex::__NC_MSG_DB__[17], "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", kEnd);
    harbex::system::unset_privilege_event_log({"b", "c"});  // tells of the first only
    harbex::system::unset_privilege_event_log({});
    harbex::system::set_privilege_event_log({"d", "e"});
    const std::string sent = wait_for_lines(kNotificationLog, 4);
    EXPECT_EQ(4, std::count(sent.begin(), sent.end(), '\n')) << sent;
    for (const char* part : {"Receiving rate: 9, Connection status: 10.", "Removed the privileges of \\\"b\\\".",
                             "Applied the privilege settings for \\\"d\\\".", "settings for \\\"e\\\"."})
        EXPECT_NE(std::string::npos, sent.find(part)) << part << sent;
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
}

// FNV-1a over the members of the 44 rows, each with its final zero byte: a row's text changes with this number only.
TEST(Notification, CatalogueIsAsAgreed) {
    uint64_t digest = 14695981039346656037U;
    for (const auto& row : harbex::__NC_MSG_DB__) {
        for (const std::string text : {row.category_id, row.message_id, row.level, row.message})
            for (size_t i = 0; i <= text.size(); ++i)
                digest = (digest ^ static_cast<unsigned char>(text.c_str()[i])) * 1099511628211U;
    }
    EXPECT_EQ(0x76f105fbd5868fadU, digest);
}

TEST(EventLog, EntriesAreFormattedTypedAndCut) {
    unlink(kEventLog);
    const std::string long_text(3000, 'x');
    harbex::system::add_up_event_log("OpenVPN", "server", "enabled");
    harbex::system::add_remove_event_log("L2TP", "server");
    harbex::system::add_log(long_text, 2);
    harbex::system::add_apply_event_log(long_text.c_str(), "server");
    std::istringstream entries(harbex::test::read_text(kEventLog));
    for (const std::string& expected :
         {std::string("0[Harbex Service] OpenVPN server is enabled."),
          std::string("1[Harbex Service] L2TP server configuration is removed."), "2" + long_text.substr(0, 2048),
          ("0[Harbex Service] " + long_text).substr(0, 1025)}) {
        std::string entry;
        ASSERT_TRUE(std::getline(entries, entry));
        EXPECT_NE(std::string::npos, entry.find("\"type\":" + expected.substr(0, 1))) << entry;
        EXPECT_NE(std::string::npos, entry.find("\"" + expected.substr(1) + "\"")) << entry;
    }
}

}  // namespace
