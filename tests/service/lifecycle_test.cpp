#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/daemon.h"
#include "support/scripted_service.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

constexpr const char* kStart = "DEBUG ===== harbex_network_service START =====";

class Lifecycle : public testing::Test {
protected:
    Lifecycle() { fs::remove_all(kPidFile); }
    ~Lifecycle() override { fs::remove_all(kPidFile); }

    ServiceLogReader log_;
};

uint64_t ignored_signals(const fs::path& status) {
    const std::string text = read_text(status);
    return std::stoull(text.substr(text.find("SigIgn:") + 7), nullptr, 16);
}

TEST_F(Lifecycle, ForegroundFromStartToStop) {
    for (const int signo : {SIGTERM, SIGINT}) {
        Daemon daemon;
        ASSERT_TRUE(daemon.serving());
        const std::string pid = std::to_string(daemon.pid());
        EXPECT_EQ(read_text(kPidFile), pid);
        EXPECT_EQ(getpgid(daemon.pid()), getpgrp()) << "still attached";
        EXPECT_EQ(fs::read_symlink(daemon.proc("cwd")), fs::current_path());

        const Finished end = daemon.stop(signo);
        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.out, "harbex_network_service in foreground mode.\n");
        EXPECT_EQ(end.err, "");
        EXPECT_EQ(read_text(kPidFile), pid) << "stays";
        EXPECT_EQ(log_.lines(),
                  (Lines{"DEBUG PID: " + pid, kStart, "DEBUG Starting handler", "DEBUG Handler stopped"}));
        fs::remove(kPidFile);
    }
}

TEST_F(Lifecycle, BackgroundDetaches) {
    BackgroundDaemon daemon;
    EXPECT_EQ(daemon.starter().status, 0);
    EXPECT_EQ(daemon.starter().out + daemon.starter().err, "");
    ASSERT_GT(daemon.pid(), 0);
    const std::string proc = "/proc/" + std::to_string(daemon.pid());
    EXPECT_EQ(read_text(kPidFile), std::to_string(daemon.pid()));
    EXPECT_EQ(getsid(daemon.pid()), daemon.pid());
    EXPECT_EQ(fs::read_symlink(proc + "/cwd"), "/");
    for (const char* fd : {"/fd/0", "/fd/1", "/fd/2"})
        EXPECT_EQ(fs::read_symlink(proc + fd), "/dev/null") << fd;
    EXPECT_EQ(bus_call(kDaemonService, "Get_rxtx_bytecount").error(), 1004) << "serves, without a network manager";
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(Lifecycle, StarterDecidesNothing) {
    // Closed descriptors must not become the log's; ignored signals must not cost it its children.
    Daemon daemon([] {
        signal(SIGCHLD, SIG_IGN);
        signal(SIGPIPE, SIG_DFL);
        close(STDIN_FILENO);
    });
    ASSERT_TRUE(daemon.serving());
    const uint64_t ignored = ignored_signals(daemon.proc("status"));
    EXPECT_EQ(ignored & (1U << (SIGCHLD - 1)), 0U);
    EXPECT_NE(ignored & (1U << (SIGPIPE - 1)), 0U);
    EXPECT_EQ(fs::read_symlink(daemon.proc("fd/0")), "/dev/null");
    EXPECT_EQ(log_.lines().size(), 3U) << "the install path could be read";
}

TEST_F(Lifecycle, SecondStartIsRefused) {
    Daemon first;
    ASSERT_TRUE(first.serving());
    (void)log_.lines();
    const std::string pid = std::to_string(first.pid());
    for (const std::vector<std::string>& start :
         {std::vector<std::string>{daemon_program()}, std::vector<std::string>{daemon_program(), ""}}) {
        const Finished second = run_program(start);
        EXPECT_EQ(second.status, 1);
        EXPECT_EQ(second.out, "");
        EXPECT_EQ(log_.lines(), Lines{"ERROR Process already running, PID: " + pid});
    }
    EXPECT_EQ(read_text(kPidFile), pid);
    EXPECT_TRUE(answers());
}

TEST_F(Lifecycle, LeftOverPidFiles) {
    const pid_t child = start_program({"/usr/bin/true"}, 1, 2);
    wait_for(child);
    const std::string dead = std::to_string(child);
    const std::string self = std::to_string(getpid());
    const std::string invalid = std::string("ERROR Invalid PID in file ") + kPidFile;
    const struct {
        const char* name;
        std::string content;
        std::string line;
    } cases[] = {
        {"zero", "0", invalid},
        {"negative", "-17", invalid},
        {"text", "harbex", invalid},
        {"too large", "99999999999", invalid},
        {"of a dead process", dead, "DEBUG Removing stale PID file (process " + dead + " not found)"},
        {"followed by text", dead + "abc\n", "DEBUG Removing stale PID file (process " + dead + " not found)"},
        {"of another program", self,
         "DEBUG PID " + self + " is different process (" + fs::read_symlink("/proc/self/exe").string() +
             "), cleaning up stale PID file"},
    };
    for (const auto& c : cases) {
        write_text(kPidFile, c.content);
        Daemon daemon;
        EXPECT_TRUE(daemon.serving()) << c.name;
        const std::string pid = std::to_string(daemon.pid());
        EXPECT_EQ(log_.lines(), (Lines{c.line, "DEBUG PID: " + pid, kStart, "DEBUG Starting handler"})) << c.name;
        EXPECT_EQ(read_text(kPidFile), pid) << c.name;
        EXPECT_EQ(daemon.stop().status, 0) << c.name;
        (void)log_.lines();
    }
}

TEST_F(Lifecycle, StartsThatFail) {
    fs::create_directory(kPidFile);
    EXPECT_EQ(run_program({daemon_program(), "-"}).status, 1);
    EXPECT_EQ(log_.lines(), (Lines{std::string("ERROR Invalid PID in file ") + kPidFile,
                                   std::string("ERROR Failed to open PID file: ") + kPidFile}));
    fs::remove(kPidFile);

    const ScriptedService other(kDaemonService);
    EXPECT_EQ(run_program({daemon_program(), "-"}).status, 1) << "the name is taken";
    const Lines lines = log_.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines.back().substr(0, 6), "ERROR ");
}

// Where the log goes, by what the package registry says.
TEST_F(Lifecycle, LogFollowsTheInstallPath) {
    const struct {
        const char* name;
        const char* getcfg;
        std::string log;
    } cases[] = {
        {"as it stands", "echo /opt/harbex/", "/opt/harbex//var/log/harbex_network_service.log"},
        {"empty", "echo", "/var/log/harbex_network_service.log"},
        {"unreadable", "exit 1", "/var/log/network/harbex_network_service.log"},
    };
    for (const auto& c : cases) {
        ServiceLogReader log(c.log);
        const ReplacedTool getcfg("/sbin/getcfg", c.getcfg);
        Daemon daemon;
        ASSERT_TRUE(daemon.serving()) << c.name;
        EXPECT_EQ(log.lines().size(), 3U) << c.name;
        EXPECT_EQ(daemon.stop().status, 0);
        fs::remove(kPidFile);
    }

    const ReplacedTool getcfg("/sbin/getcfg", "echo /nowhere");
    const Finished end = run_program({daemon_program()});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "Failed to open log file: /nowhere/var/log/harbex_network_service.log\n");
    EXPECT_FALSE(fs::exists(kPidFile));
}

}  // namespace
}  // namespace harbex::test
