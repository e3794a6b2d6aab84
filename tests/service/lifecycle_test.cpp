#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "support/daemon.h"
#include "support/scripted_service.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

const std::string kStart = "DEBUG ===== harbex_network_service START =====\nDEBUG Starting handler";

class Lifecycle : public testing::Test {
protected:
    Lifecycle() { fs::remove_all(kPidFile); }
    ~Lifecycle() override { fs::remove_all(kPidFile); }

    LogReader log_{kDaemonLog};
};

TEST_F(Lifecycle, ForegroundFromStartToStop) {
    for (const int signo : {SIGTERM, SIGINT}) {
        // The starter decides nothing: closed descriptors must not become the log's, ignored signals not cost it its
        // children.
        Daemon daemon([] {
            signal(SIGCHLD, SIG_IGN);
            signal(SIGPIPE, SIG_DFL);
            close(STDIN_FILENO);
        });
        ASSERT_TRUE(daemon.serving());
        const std::string pid = std::to_string(daemon.pid());
        EXPECT_EQ(read_text(kPidFile), pid);
        EXPECT_EQ(getpgid(daemon.pid()), getpgrp()) << "still attached";
        EXPECT_EQ(fs::read_symlink(daemon.proc("cwd")), fs::current_path());
        EXPECT_EQ(fs::read_symlink(daemon.proc("fd/0")), "/dev/null");
        const std::string status = read_text(daemon.proc("status"));
        const auto ignored = std::stoull(status.substr(status.find("SigIgn:") + 7), nullptr, 16);
        EXPECT_EQ(ignored & (1U << (SIGCHLD - 1)), 0U);
        EXPECT_NE(ignored & (1U << (SIGPIPE - 1)), 0U);

        const Finished end = daemon.stop(signo);
        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.out + end.err, "harbex_network_service in foreground mode.\n");
        EXPECT_EQ(read_text(kPidFile), pid) << "stays";
        EXPECT_EQ(log_.text(), "DEBUG PID: " + pid + "\n" + kStart + "\nDEBUG Handler stopped");
        fs::remove(kPidFile);
    }
}

TEST_F(Lifecycle, BackgroundDetachesAndRefusesASecondStart) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const Finished starter = run_program({kDaemonProgram});
    EXPECT_EQ(std::to_string(starter.status) + starter.out + starter.err, "0");
    ASSERT_TRUE(wait_until(answers));
    const pid_t pid = std::atoi(read_text(kPidFile).c_str());
    const std::string proc = "/proc/" + std::to_string(pid);
    EXPECT_EQ(getsid(pid), pid);
    EXPECT_EQ(fs::read_symlink(proc + "/cwd"), "/");
    for (const char* fd : {"/fd/0", "/fd/1", "/fd/2"})
        EXPECT_EQ(fs::read_symlink(proc + fd), "/dev/null") << fd;

    (void)log_.lines();
    for (const std::vector<std::string>& start : {std::vector<std::string>{kDaemonProgram}, {kDaemonProgram, ""}}) {
        const Finished second = run_program(start);
        EXPECT_EQ(std::to_string(second.status) + second.out, "1");
        EXPECT_EQ(log_.text(), "ERROR Process already running, PID: " + std::to_string(pid));
    }
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
    const std::string invalid = std::string("ERROR Invalid PID in file ") + kPidFile;
    const std::string stale = "DEBUG Removing stale PID file (process " + dead + " not found)";
    const std::pair<std::string, std::string> cases[] = {
        {"0", invalid},
        {"harbex", invalid},
        {dead + "abc\n", stale},
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
    fs::remove(kPidFile);
    fs::create_directory(kPidFile);
    EXPECT_EQ(run_program({kDaemonProgram, "-"}).status, 1);
    EXPECT_EQ(log_.text(), invalid + "\nERROR Failed to open PID file: " + kPidFile);
    fs::remove(kPidFile);
    const ScriptedService other(kDaemonService);
    EXPECT_EQ(run_program({kDaemonProgram, "-"}).status, 1) << "the name is taken";
    EXPECT_NE(log_.text("ERROR"), "");
}

// Where the log goes, by what the package registry says.
TEST_F(Lifecycle, LogFollowsTheInstallPath) {
    const std::pair<const char*, const char*> cases[] = {
        {"echo /opt/harbex/", "/opt/harbex//var/log/harbex_network_service.log"},
        {"echo", "/var/log/harbex_network_service.log"},
        {"exit 1", "/var/log/network/harbex_network_service.log"},
    };
    for (const auto& [script, path] : cases) {
        LogReader log(path);
        const ReplacedTool getcfg("/sbin/getcfg", script);
        const Daemon daemon;
        EXPECT_EQ(log.lines().size(), 3U) << path;
        fs::remove(kPidFile);
    }
}

}  // namespace
}  // namespace harbex::test
