#include "common/exec.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "common/error_code.h"
#include "common/in_folder.h"
#include "support/log_reader.h"

namespace harbex::system {
namespace {

using test::read_text;

struct Program {
    std::vector<const char*> words;
    operator char* const*() const { return const_cast<char* const*>(words.data()); }
};
Program script(const std::string& text) {
    return {{"/bin/sh", "-c", text.c_str(), nullptr}};
}

pid_t ended_child(int status) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(status);
    siginfo_t info = {};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    return child;
}

std::string awaited_text(const fs::path& path) {
    (void)test::wait_until([&] { return fs::exists(path); });
    const std::string text = read_text(path);
    fs::remove(path);
    return text;
}

class Exec : public test::InFolder {
protected:
    static bool has_children() { return ::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }
    void TearDown() override { EXPECT_FALSE(has_children()); }

    const std::string file_ = folder_ / "file";
    const std::string keep_ = "mv " + file_ + ".part " + file_ + "; ";
};

TEST_F(Exec, CapturesOutput) {
    const std::string text = "a 'b' \"c\" $(id) `id` ; | > *\n\nb\n";
    std::string output = "old";
    EXPECT_EQ(do_exec_safe({"/usr/bin/printf", "%s", text}, output), 0);
    EXPECT_EQ(output, text);
    EXPECT_EQ(do_exec_safe({"/bin/sh", "-c", "echo e >&2; echo o"}, output), 0);
    EXPECT_EQ(output, "o\n");
    EXPECT_EQ(do_exec_safe({"/bin/sh", "-c", "echo o; exit 7"}, output), 7);
    EXPECT_EQ(output, "");
    output = "kept ";
    EXPECT_EQ(do_exec("printf '%2000d\\nb' 7; exit 3", output), 0) << "the status is not looked at";
    EXPECT_EQ(output, "kept " + std::string(1999, ' ') + "7\nb");
}

TEST_F(Exec, VpnScriptsFailureIsOnlyLogged) {
    test::LogReader log;
    invoke_vpn_script("/bin/ls", "/no/where");
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"INFO Invoke VPN script by /bin/ls /no/where",
                                                     "ERROR Fail to /no/where VPN by /bin/ls, output: "}));
}

// A started program finds /dev/null on its three streams, "/", umask 0, and no signal blocked or ignored.
TEST_F(Exec, StartedProgramsSurroundings) {
    const std::string report = "s=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2); exec > " + file_ +
                               ".part; echo \"$s\"; pwd; umask; grep -E 'Sig(Blk|Ign)' /proc/self/status; " + keep_;
    const std::string expected =
        "/dev/null\n/dev/null\n/dev/null\n/\n0000\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n";
    sigset_t every, usual;
    ::sigfillset(&every);
    ::signal(SIGPIPE, SIG_IGN);
    for (const auto start : {foreground, background}) {
        ::sigprocmask(SIG_BLOCK, &every, &usual);
        EXPECT_EQ(start(script(report)), NO_ERROR);
        ::sigprocmask(SIG_SETMASK, &usual, nullptr);
        EXPECT_EQ(awaited_text(file_), expected) << (start == foreground);
    }
}

TEST_F(Exec, BackgroundLeavesAnOrphan) {
    EXPECT_EQ(background(script("echo $$ > " + file_ + ".part; " + keep_ + "exec sleep 600")), NO_ERROR);
    EXPECT_FALSE(has_children());
    EXPECT_EQ(::kill(std::stoi("0" + awaited_text(file_)), SIGKILL), 0) << "it runs";
}

// The wait is for any child of the process group: one that ended before is the one it meets.
TEST_F(Exec, BackgroundTakesTheFirstEndedChildForItsOwn) {
    for (const int status : {0, 3}) {
        (void)ended_child(status);
        EXPECT_EQ(background(script("exit 0")), status == 0 ? NO_ERROR : ERR_BACKGROUND_PROCESS);
        EXPECT_FALSE(has_children()) << status;
    }
}

TEST_F(Exec, ForegroundWaitsAndPausesAfterSuccess) {
    EXPECT_EQ(foreground(script("exit 3")), ERR_BACKGROUND_PROCESS);

    const pid_t other = ended_child(3);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(foreground(script("sleep 0.1; echo done > " + file_)), NO_ERROR);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1100));
    EXPECT_EQ(read_text(file_), "done\n");
    EXPECT_EQ(::waitpid(other, nullptr, 0), other);
}

TEST_F(Exec, KillWaitsForTheProcessToGo) {
    ::signal(SIGTERM, SIG_IGN);  // for the child, from birth
    const pid_t child = ::fork();
    if (child == 0) ::_exit(static_cast<int>(::sleep(2)));
    ::signal(SIGTERM, SIG_DFL);
    std::thread reaper([child] { EXPECT_EQ(test::wait_for(child), 0); });
    EXPECT_EQ(kill(child, SIGTERM), NO_ERROR);
    EXPECT_EQ(kill(child, SIGTERM), ERR_KILL_PROCESS) << "it is gone";
    reaper.join();
}

}  // namespace
}  // namespace harbex::system
