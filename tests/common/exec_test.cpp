#include "common/exec.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/error_code.h"
#include "common/in_folder.h"
#include "support/files.h"
#include "support/run_program.h"

namespace fs = std::filesystem;

namespace harbex::system {
namespace {

using test::read_text;

// An argument vector of the shell.
class Script {
public:
    explicit Script(std::string text) : text_(std::move(text)) {}
    Script(const Script&) = delete;
    char* const* argv() const { return argv_; }

private:
    std::string text_;
    char shell_[8] = "/bin/sh", option_[3] = "-c";
    char* const argv_[4] = {shell_, option_, text_.data(), nullptr};
};

char missing_program[] = "/no/such/program";
char* const kMissing[] = {missing_program, nullptr};

// A child that has ended, not waited for.
pid_t ended_child(const std::function<void()>& end) {
    const pid_t child = ::fork();
    if (child == 0) {
        end();
        ::_exit(0);
    }
    siginfo_t info = {};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    return child;
}

bool has_children() {
    return ::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

void wait_for_file(const fs::path& path) {
    for (int i = 0; i < 1000 && !fs::exists(path); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

class Exec : public test::InFolder {
protected:
    void TearDown() override { EXPECT_FALSE(has_children()); }
};

TEST_F(Exec, DoExecSafe) {
    const std::string text = "a 'b' \"c\" $(id) `id` ; | > *\n\nb\n";
    const struct {
        const char* name;
        std::vector<std::string> argv;
        int result;
        std::string output;
    } cases[] = {
        {"no shell looks at the arguments", {"/usr/bin/printf", "%s", text}, 0, text},
        {"standard error is discarded", {"/bin/sh", "-c", "echo e >&2; echo o"}, 0, "o\n"},
        {"exit status, no output", {"/bin/sh", "-c", "echo o; exit 7"}, 7, ""},
        {"nothing to run", {}, -1, ""},
    };
    for (const auto& c : cases) {
        std::string output = "old";
        EXPECT_EQ(do_exec_safe(c.argv, output), c.result) << c.name;
        EXPECT_EQ(output, c.output) << c.name;
    }
}

// A started program finds /dev/null on its three streams, "/", umask 0, and no signal blocked or ignored.
TEST_F(Exec, StartedProgramsSurroundings) {
    const std::string path = folder_ / "report";
    const std::string script = "streams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2); exec > " + path +
                               ".part; echo \"$streams\"; pwd; umask; " +
                               "grep -E 'Sig(Blk|Ign)' /proc/self/status | tr -d '\\t'; mv " + path + ".part " + path;
    const std::string expected =
        "/dev/null\n/dev/null\n/dev/null\n/\n0000\nSigBlk:0000000000000000\nSigIgn:0000000000000000\n";
    for (const bool closed_streams : {false, true}) {
        for (const auto start : {foreground, background}) {
            const pid_t child = ::fork();
            if (child == 0) {
                sigset_t signals;
                ::sigfillset(&signals);
                ::sigprocmask(SIG_BLOCK, &signals, nullptr);
                ::signal(SIGPIPE, SIG_IGN);
                for (int fd = 0; fd <= 2 && closed_streams; ++fd)
                    ::close(fd);
                ::_exit(start(Script(script).argv()));
            }
            EXPECT_EQ(test::wait_for(child), 0);
            wait_for_file(path);
            EXPECT_EQ(read_text(path), expected)
                << (start == foreground ? "foreground" : "background") << closed_streams;
            fs::remove(path);
        }
    }
}

TEST_F(Exec, BackgroundLeavesAnOrphan) {
    const std::string path = folder_ / "pid";
    const Script program("echo $$ > " + path + ".part; mv " + path + ".part " + path + "; exec sleep 600");
    EXPECT_EQ(background(program.argv()), NO_ERROR);
    EXPECT_FALSE(has_children());
    wait_for_file(path);
    const std::string pid = read_text(path);
    ASSERT_FALSE(pid.empty());
    EXPECT_EQ(::kill(std::stoi(pid), SIGKILL), 0) << "it runs";
    EXPECT_EQ(background(kMissing), NO_ERROR);
}

// The wait is for any child of the process group: one that ended before is the one it meets.
TEST_F(Exec, BackgroundTakesTheFirstEndedChildForItsOwn) {
    const Script program("exit 0");
    const struct {
        const char* name;
        std::function<void()> end;
        int result;
    } cases[] = {
        {"exit 0", [] {}, NO_ERROR},
        {"exit 3", [] { ::_exit(3); }, ERR_BACKGROUND_PROCESS},
        {"signal", [] { ::raise(SIGKILL); }, ERR_BACKGROUND_PROCESS},
    };
    for (const auto& c : cases) {
        (void)ended_child(c.end);
        EXPECT_EQ(background(program.argv()), c.result) << c.name;
        EXPECT_FALSE(has_children()) << c.name;
    }

    // In another process group: not met, still there to wait for.
    const pid_t stranger = ended_child([] {
        ::setpgid(0, 0);
        ::_exit(3);
    });
    EXPECT_EQ(background(program.argv()), NO_ERROR);
    EXPECT_EQ(::waitpid(stranger, nullptr, 0), stranger);
}

TEST_F(Exec, ForegroundWaitsAndPausesAfterSuccess) {
    EXPECT_EQ(foreground(Script("exit 3").argv()), ERR_BACKGROUND_PROCESS);
    EXPECT_EQ(foreground(kMissing), ERR_BACKGROUND_PROCESS);

    // It waits for its own child, not for another one that ended.
    const pid_t other = ended_child([] { ::_exit(3); });
    const std::string path = folder_ / "done";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(foreground(Script("sleep 0.1; echo done > " + path).argv()), NO_ERROR);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1100));
    EXPECT_EQ(read_text(path), "done\n");
    EXPECT_EQ(::waitpid(other, nullptr, 0), other);
}

TEST_F(Exec, KillWaitsForTheProcessToGo) {
    ::signal(SIGTERM, SIG_IGN);  // for the child, from birth
    const pid_t child = ::fork();
    if (child == 0) {
        (void)::sleep(2);
        ::_exit(0);
    }
    ::signal(SIGTERM, SIG_DFL);
    std::thread reaper([child] { ::waitpid(child, nullptr, 0); });
    EXPECT_EQ(kill(child, SIGUSR2 + 1000), ERR_KILL_PROCESS) << "no such signal";
    EXPECT_EQ(kill(child, SIGTERM), NO_ERROR);
    EXPECT_EQ(kill(child, SIGTERM), ERR_KILL_PROCESS) << "it is gone";
    reaper.join();
}

}  // namespace
}  // namespace harbex::system
