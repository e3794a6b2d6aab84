#include "eventlog/event_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/json_owner.h"
#include "eventlog/nc_msg_db.h"
#include "support/files.h"

namespace {

using harbex::nc_msg_struct;
using harbex::nclog::notify_send;
constexpr const char* kNotify = "/usr/local/sbin/notify";
constexpr const char* kNotificationLog = "/var/log/notification.log";
constexpr const char* kEventLog = "/var/log/event.log";
constexpr const char* kEnd = nullptr;

std::vector<std::string> lines_of(const std::string& path) {
    std::istringstream file(harbex::test::read_text(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

// The tool runs detached; its effect is waited for.
std::vector<std::string> wait_for_lines(const std::string& path, size_t count) {
    for (int tries = 0; tries < 500 && lines_of(path).size() < count; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return lines_of(path);
}

std::string member(const std::string& line, const char* key) {
    const harbex::JsonOwner root(json_loads(line.c_str(), 0, nullptr));
    return harbex::json_member_text(root.get(), key);
}

// A script in the tool's place writes its arguments, one a line, its open descriptors and where they lead to, and
// what it was started with in the way of signals.
TEST(Notification, ToolGetsItsArgumentsAndNothingElse) {
    const harbex::test::ReplacedTool tool(
        kNotify,
        "{ printf '%s\\n' \"$@\"; ls -l /proc/$$/fd | sed -n 's/.* \\([0-9]*\\) -> /\\1 /p'\n"
        "  grep -E '^Sig(Blk|Ign)' /proc/self/status; } >/tmp/notify.new\n"
        "mv /tmp/notify.new /tmp/notify.seen");
    const int inherited = open("/tmp", O_RDONLY);  // on purpose without O_CLOEXEC
    ASSERT_GE(inherited, 3);
    // As the daemon has it.
    signal(SIGPIPE, SIG_IGN);
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGTERM);
    sigprocmask(SIG_BLOCK, &held, nullptr);
    notify_send(&harbex::__NC_MSG_DB__[3], "alice \"$(id)\" b", kEnd);
    sigprocmask(SIG_UNBLOCK, &held, nullptr);
    signal(SIGPIPE, SIG_DFL);
    (void)wait_for_lines("/tmp/notify.seen", 1);
    close(inherited);
    const std::string seen = harbex::test::read_text("/tmp/notify.seen");
    EXPECT_EQ(0U, seen.find("send\n-A\nA238\n-C\nC001\n-M\n0004\n-l\ninfo\n-t\n3\n"
                            "[{0}] Applied the privilege settings for \"{1}\".\nHarbex Service\nalice \"$(id)\" b\n"
                            "0 /dev/null\n"))
        << seen;
    EXPECT_EQ(std::string::npos, seen.find("\n" + std::to_string(inherited) + " /tmp\n")) << seen;
    EXPECT_NE(std::string::npos, seen.find("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n")) << seen;
}

TEST(Notification, TakesTwelveValuesOneForEachUserAndLeavesNoZombie) {
    unlink(kNotificationLog);
    notify_send(&harbex::__NC_MSG_DB__[17], "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", kEnd);
    notify_send(nullptr, "nobody", kEnd);
    (void)wait_for_lines(kNotificationLog, 1);
    harbex::system::set_privilege_event_log({"a"});
    (void)wait_for_lines(kNotificationLog, 2);
    harbex::system::unset_privilege_event_log({"b", "c"});  // tells of the first only
    (void)wait_for_lines(kNotificationLog, 3);
    harbex::system::set_privilege_event_log({"d", "d"});
    harbex::system::unset_privilege_event_log({});
    std::string messages;
    for (const std::string& line : wait_for_lines(kNotificationLog, 5))
        messages += member(line, "message") + "\n";
    const std::string applied = "[Harbex Service] Applied the privilege settings for \"";
    EXPECT_EQ(
        "[Harbex Service] Connection log information. Date: 1, Uptime: 2, Username: 3, Protocol: 4, Client IP: 5, "
        "Public IP: 6, Server country: 7, Transmission rate: 8, Receiving rate: 9, Connection status: 10.\n" +
            applied + "a\".\n[Harbex Service] Removed the privileges of \"b\".\n" + applied + "d\".\n" + applied +
            "d\".\n",
        messages);
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
}

// FNV-1a over the members of the 44 rows, each with its final zero byte. A row's text changes with this number only.
TEST(Notification, CatalogueIsAsAgreed) {
    uint64_t digest = 14695981039346656037U;
    for (const nc_msg_struct& row : harbex::__NC_MSG_DB__) {
        for (const std::string text : {row.category_id, row.message_id, row.level, row.message}) {
            for (size_t i = 0; i <= text.size(); ++i)
                digest = (digest ^ static_cast<unsigned char>(text.c_str()[i])) * 1099511628211U;
        }
    }
    EXPECT_EQ(0x76f105fbd5868fadU, digest);
}

TEST(EventLog, EntriesAreFormattedTypedAndCut) {
    unlink(kEventLog);
    const std::string long_text(3000, 'x');
    harbex::system::add_up_event_log("OpenVPN", "server", "enabled");
    harbex::system::add_down_event_log("OpenVPN", "server", "disabled");
    harbex::system::add_apply_event_log("L2TP", "server");
    harbex::system::add_remove_event_log("L2TP", "server");
    harbex::system::add_log(long_text, 2);
    harbex::system::add_apply_event_log(long_text.c_str(), "server");
    const std::string expected[] = {
        "0[Harbex Service] OpenVPN server is enabled.",
        "0[Harbex Service] OpenVPN server is disabled.",
        "0[Harbex Service] L2TP server configuration is applied.",
        "1[Harbex Service] L2TP server configuration is removed.",
        "2" + long_text.substr(0, 2048),
        ("0[Harbex Service] " + long_text).substr(0, 1025),
    };
    const auto lines = lines_of(kEventLog);
    ASSERT_EQ(6U, lines.size());
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(expected[i].substr(1), member(lines[i], "description"));
        EXPECT_NE(std::string::npos, lines[i].find("\"type\":" + expected[i].substr(0, 1))) << lines[i];
    }
}

}  // namespace
