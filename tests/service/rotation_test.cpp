#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/daemon.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLimit = 2097152;

class ServiceLogRotation : public testing::Test {
protected:
    ServiceLogRotation() { clear(); }
    ~ServiceLogRotation() override { clear(); }

    static void clear() {
        fs::remove(daemon_log());
        for (int i = 1; i <= 5; i++)
            fs::remove(generation(i));
    }
    static std::string generation(int number) { return daemon_log() + "." + std::to_string(number); }

    static void fill_log(size_t size) {
        std::ofstream log(daemon_log(), std::ios::app);
        log << std::string(size - fs::file_size(daemon_log()) - 1, 'x') << std::endl;
    }
    // Calls a method that is there until `condition` holds: the rotation check comes behind the reply.
    static bool call_until(const std::function<bool()>& condition) {
        return wait_until([&] {
            (void)bus_call(kDaemonService, "Get_rxtx_bytecount");
            return condition();
        });
    }
};

TEST_F(ServiceLogRotation, FullLogIsRotatedByTheFirstCallThatFindsItsMethod) {
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    fill_log(kLimit);
    (void)bus_call(kDaemonService, "nobody");
    EXPECT_FALSE(fs::exists(generation(1))) << "an unknown method rotates nothing";

    const auto goes_on_in_a_new_file = [] {
        return fs::exists(generation(1)) && fs::exists(daemon_log()) && fs::file_size(daemon_log()) > 0;
    };
    ASSERT_TRUE(call_until(goes_on_in_a_new_file));
    EXPECT_GT(fs::file_size(generation(1)), kLimit);
    EXPECT_LT(fs::file_size(daemon_log()), kLimit);

    fill_log(kLimit);
    int calls = 0;
    ASSERT_TRUE(call_until([&] { return ++calls == 20; }));
    EXPECT_FALSE(fs::exists(generation(2))) << "not twice within a minute";
}

TEST_F(ServiceLogRotation, UnderManyClients) {
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    fill_log(kLimit);
    std::vector<std::jthread> clients;
    for (int i = 0; i < 8; i++) {
        clients.emplace_back([] {
            for (int call = 0; call < 25; call++)
                EXPECT_EQ(bus_call(kDaemonService, "Flush").error(), 1001);
            for (int call = 0; call < 25; call++)
                EXPECT_EQ(bus_call(kDaemonService, "Get_rxtx_bytecount").error(), 1004);
        });
    }
    clients.clear();
    EXPECT_EQ(daemon.stop().status, 0);

    // Lines may be missing, but none is torn.
    const std::vector<std::string> whole = {
        "DEBUG ==============API: Get_rxtx_bytecount==================",
        "DEBUG log_absolute_path: " + daemon_log(),
        "DEBUG Entering Get_rxtx_bytecount",
        "DEBUG bsh API: bsh NetworkService.api.get_currentGWinfo",
        "ERROR Failed to execute NetworkService.api.get_currentGWinfo",
        "ERROR Cannot get gateway info",
        "ERROR method: Get_rxtx_bytecount Callback failed, Ret: 1004",
        "DEBUG Handler stopped",
    };
    const std::string old = read_text(generation(1));
    ASSERT_GT(old.size(), kLimit);
    for (const std::string& line : log_lines(old.substr(kLimit) + read_text(daemon_log())))
        EXPECT_EQ(std::count(whole.begin(), whole.end(), line), 1) << line;
}

TEST_F(ServiceLogRotation, SmallLogIsReopenedAndKept) {
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    const std::string head = read_text(daemon_log());
    int calls = 0;
    ASSERT_TRUE(call_until([&] { return ++calls == 20; }));
    EXPECT_EQ(read_text(daemon_log()).substr(0, head.size()), head);
    EXPECT_FALSE(fs::exists(generation(1)));
}

TEST_F(ServiceLogRotation, FollowsAnInstallPathThatMoved) {
    const fs::path moved = "/opt/moved";
    fs::create_directories(moved / "var/log");
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    {
        const ReplacedTool getcfg("/sbin/getcfg", "echo " + moved.string());
        const std::string log = (moved / "var/log/harbex_network_service.log").string();
        ASSERT_TRUE(
            call_until([&] { return read_text(log).find("log_absolute_path: " + log) != std::string::npos; }));
    }
    fs::remove_all(moved);
}

TEST_F(ServiceLogRotation, LogThatCannotBeReopenedEndsTheDaemon) {
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    const ReplacedTool getcfg("/sbin/getcfg", "echo /nowhere");
    EXPECT_EQ(bus_call(kDaemonService, "Get_rxtx_bytecount").error(), 1004) << "answered before the check";
    const Finished end = daemon.stop(0);
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "Failed to open log file: /nowhere/var/log/harbex_network_service.log\n");
}

}  // namespace
}  // namespace harbex::test
