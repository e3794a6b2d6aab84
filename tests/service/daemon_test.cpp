#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <fstream>
#include <map>

#include "service/logger.h"
#include "support/daemon.h"
#include "support/scripted_service.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;
using service::Logger;

const std::string kStart = "DEBUG ===== harbex_network_service START =====\nDEBUG Starting handler";

class Lifecycle : public testing::Test {
protected:
    Lifecycle() { fs::remove_all(kPidFile); }
    ~Lifecycle() override { fs::remove_all(kPidFile); }

    LogReader log_{kDaemonLog};
};

TEST_F(Lifecycle, ForegroundFromStartToStop) {
    Daemon daemon([] {
        signal(SIGCHLD, SIG_IGN);
        signal(SIGPIPE, SIG_DFL);
        close(STDIN_FILENO);
    });
    ASSERT_TRUE(daemon.serving());
    const std::string pid = std::to_string(daemon.pid());
    EXPECT_EQ(read_text(kPidFile), pid);
    EXPECT_EQ(getpgid(daemon.pid()), getpgrp()) << "still attached";
    EXPECT_EQ(fs::read_symlink(daemon.proc("fd/0")), "/dev/null");
    const std::string status = read_text(daemon.proc("status"));
    const auto ignored = std::stoull(status.substr(status.find("SigIgn:") + 7), nullptr, 16);
    EXPECT_EQ(ignored & (1U << (SIGCHLD - 1)), 0U);
    EXPECT_NE(ignored & (1U << (SIGPIPE - 1)), 0U);

    const Finished end = daemon.stop(SIGINT);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out + end.err, "harbex_network_service in foreground mode.\n");
    EXPECT_EQ(read_text(kPidFile), pid) << "stays";
    EXPECT_EQ(log_.text(), "DEBUG PID: " + pid + "\n" + kStart + "\nDEBUG Handler stopped");
}

TEST_F(Lifecycle, BackgroundDetachesAndRefusesASecondStart) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const Finished starter = run_program({kDaemonProgram});
    EXPECT_EQ(std::to_string(starter.status) + starter.out + starter.err, "0");
    ASSERT_TRUE(wait_until(answers));
    const pid_t pid = std::atoi(read_text(kPidFile).c_str());
    EXPECT_EQ(getsid(pid), pid);
    for (const auto& [entry, target] : {std::pair{"/cwd", "/"}, {"/fd/0", "/dev/null"}, {"/fd/2", "/dev/null"}})
        EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(pid) + entry), target) << entry;

    (void)log_.lines();
    EXPECT_EQ(run_program({kDaemonProgram}).status, 1);
    EXPECT_EQ(log_.text(), "ERROR Process already running, PID: " + std::to_string(pid));
    EXPECT_EQ(read_text(kPidFile), std::to_string(pid));
    EXPECT_TRUE(answers());
    ::kill(pid, SIGTERM);
    EXPECT_EQ(wait_for(pid), 0);
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST_F(Lifecycle, LeftOverPidFiles) {
    const pid_t child = start_program({"/usr/bin/true"}, 1, 2);
    wait_for(child);
    const std::string dead = std::to_string(child);
    const std::string self = std::to_string(getpid());
    const std::pair<std::string, std::string> cases[] = {
        {"0", std::string("ERROR Invalid PID in file ") + kPidFile},
        {dead + "abc\n", "DEBUG Removing stale PID file (process " + dead + " not found)"},
        {self, "DEBUG PID " + self + " is different process (" + fs::read_symlink("/proc/self/exe").string() +
                   "), cleaning up stale PID file"},
    };
    for (const auto& [content, line] : cases) {
        write_text(kPidFile, content);
        Daemon daemon;
        EXPECT_TRUE(daemon.serving()) << content;
        const std::string pid = std::to_string(daemon.pid());
        EXPECT_EQ(log_.text(), line + "\nDEBUG PID: " + pid + "\n" + kStart) << content;
        EXPECT_EQ(read_text(kPidFile), pid) << content;
        EXPECT_EQ(daemon.stop().status, 0) << content;
        (void)log_.lines();
    }
}

TEST(ServiceLog, LinesAreWholeAndTwoLevelsHaveNames) {
    std::ostringstream text;
    Logger::out = &text;
    Logger::Log(service::INFO, "zero");
    Logger::Log(service::DEBUG, "one");
    Logger::Log(service::ERROR, "two %d", 2);
    Logger::Log(service::FATAL, "three");
    std::vector<std::string> expected{"UNKNOWN zero", "DEBUG one", "ERROR two 2", "UNKNOWN three"};
    for (const size_t length : {511U, 512U, 100000U}) {
        expected.push_back("DEBUG " + std::string(length, 'x'));
        Logger::Log(service::DEBUG, "%s", expected.back().c_str() + 6);
    }
    Logger::out = nullptr;
    EXPECT_EQ(log_lines(text.str()), expected);
}

TEST(RotationDue, AfterMoreThanAMinute) {
    EXPECT_FALSE(service::is_rotation_due(1700000060, 1700000000));
    EXPECT_TRUE(service::is_rotation_due(1700000061, 1700000000));
}

TEST(ServiceLogRotation, ByTheFirstCallThatFindsItsMethodThenNotWithinAMinute) {
    constexpr size_t kLimit = 2097152;
    const auto fill_log = [] {
        std::ofstream(kDaemonLog, std::ios::app)
            << std::string(kLimit - static_cast<size_t>(fs::file_size(kDaemonLog)) - 1, 'x') << "\n";
    };
    const auto has_generation = [](const std::string& number) { return fs::exists(kDaemonLog + ("." + number)); };
    const Daemon daemon;
    const std::string head = read_text(kDaemonLog);
    fill_log();
    EXPECT_EQ(bus_call(kDaemonService, "flush_timeout").member("error_message"), "Unknown method");
    EXPECT_FALSE(has_generation("1")) << "an unknown method rotates nothing";
    ASSERT_TRUE(wait_until([&] {  // the check comes behind a reply
        (void)bus_call(kDaemonService, "Flush_timeout");
        return has_generation("1") && !read_text(kDaemonLog).empty();
    }));
    EXPECT_TRUE(read_text(std::string(kDaemonLog) + ".1").starts_with(head));
    EXPECT_LT(fs::file_size(kDaemonLog), kLimit);
    fill_log();
    for (int calls = 0; calls < 20; calls++)
        (void)bus_call(kDaemonService, "Flush_timeout");
    EXPECT_FALSE(has_generation("2"));
    fs::remove(kDaemonLog + std::string(".1"));
}

// Many clients at once with every kind of call, while the log is rotated and when it is not: nothing is mixed up,
// torn, lost (but in a rotation) or kept.
TEST(Dispatch, Storm) {
    Daemon daemon;
    ASSERT_TRUE(daemon.serving());
    const size_t before = daemon.open_descriptors();
    std::ofstream(kDaemonLog, std::ios::app) << std::string(2 << 20, 'x') << "\n";
    ScriptedService manager("NetworkService");
    manager.answer("api.get_currentGWinfo",
                   R"({"error": 0, "data": [{"ifname": "wan", "interface_type": "", "metric": 1, "status": {}}]})");
    const std::pair<const char*, int> calls[] = {
        {"nobody", 1001},           {"Get_port_status", 0}, {"Get_public_ip", 1005},
        {"Get_corvanetoken", 1010}, {"Flush_timeout", 0},   {"Update_and_check_timeout", 0},
    };
    constexpr int kClients = 8;
    constexpr int kRounds = 10;
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
