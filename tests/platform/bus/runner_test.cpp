#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <initializer_list>
#include <vector>

#include "peers.h"
#include "support/run_program.h"

namespace bsvc::test {
namespace {

struct Ran {
    int result;
    std::string out, err;
};

Ran run(std::initializer_list<const char*> command) {
    std::vector<char*> argv;
    for (const char* word : command)
        argv.push_back(const_cast<char*>(word));
    argv.push_back(nullptr);
    const Stream out(bs_io_create());
    const Stream err(bs_io_create());
    const int result = bs_io_execv(0, out.get(), err.get(), argv.data());
    return {result, text_of(out.get()), text_of(err.get())};
}

Ran run_script(const char* script) {
    return run({"/bin/sh", "-c", script});
}

TEST(Runner, TellsHowTheProgramEnded) {
    const struct {
        const char* name;
        std::initializer_list<const char*> command;
        int result;
        const char *out, *err;
    } cases[] = {
        {"fine", {"/bin/sh", "-c", "echo out; echo err >&2"}, 0, "out\n", "err\n"},
        {"arguments as they stand", {"/bin/echo", "a  b", "$(id)", "'"}, 0, "a  b $(id) '\n", ""},
        {"exit status", {"/bin/sh", "-c", "echo so far; exit 3"}, 3, "so far\n", ""},
        {"missing program", {"/no/such/program"}, 127, "", ""},
        {"no search", {"sh", "-c", "exit 0"}, 127, "", ""},
        {"killed", {"/bin/sh", "-c", "echo last; kill -9 $$"}, 128 + SIGKILL, "last\n", ""},
    };
    for (const auto& c : cases) {
        const Ran ran = run(c.command);
        EXPECT_EQ(ran.result, c.result) << c.name;
        EXPECT_EQ(ran.out, c.out) << c.name;
        EXPECT_EQ(ran.err, c.err) << c.name;
    }
    EXPECT_EQ(bs_io_execv(0, nullptr, nullptr, nullptr), -1);
    char* const nothing[] = {nullptr};
    EXPECT_EQ(bs_io_execv(0, nullptr, nullptr, nothing), -1);
}

TEST(Runner, TakesMegabytesOnBothPipesAtOnce) {
    const Ran ran = run_script("head -c 1048576 /dev/zero & head -c 2097152 /dev/zero >&2; wait");
    EXPECT_EQ(ran.result, 0);
    EXPECT_EQ(ran.out.size(), 1048576u);
    EXPECT_EQ(ran.err.size(), 2097152u);
    // Output that nobody wants, the same way.
    char shell[] = "/bin/sh", option[] = "-c", loud[] = "head -c 1048576 /dev/zero; head -c 1048576 /dev/zero >&2";
    char* const argv[] = {shell, option, loud, nullptr};
    EXPECT_EQ(bs_io_execv(0, nullptr, nullptr, argv), 0);
}

TEST(Runner, EndsWithTheChildNotWithItsPipes) {
    const Ran ran = run_script("(while :; do echo noise; sleep 0.01; done) & echo $!");
    EXPECT_EQ(ran.result, 0);
    const pid_t daemon = std::atoi(ran.out.substr(ran.out.find_first_of("0123456789")).c_str());
    ASSERT_GT(daemon, 1);
    EXPECT_EQ(kill(daemon, SIGKILL), 0) << "it still runs, and holds the pipe";
}

// A line of /proc/PID/status, without signals 32 and 33: those are the C library's own, which it hands on ignored.
uint64_t signal_set(const std::string& status, const std::string& key) {
    const size_t at = status.find(key);
    if (at == std::string::npos) return ~uint64_t{0};
    return std::strtoull(status.c_str() + at + key.size(), nullptr, 16) & ~(uint64_t{3} << 31);
}

TEST(Runner, ChildStartsClean) {
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGRTMIN);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto old_pipe = signal(SIGPIPE, SIG_IGN);
    const auto old_quit = signal(SIGQUIT, SIG_IGN);
    // Somebody forgot O_CLOEXEC.
    const Descriptor leaking(open("/etc/hostname", O_RDONLY));
    const Ran status = run({"/bin/cat", "/proc/self/status"});
    const Ran files = run({"/bin/ls", "/proc/self/fd"});
    const Ran input = run({"/bin/readlink", "/proc/self/fd/0"});
    const Ran group = run_script("read pid name state parent group rest < /proc/$$/stat; [ $pid = $group ]");
    signal(SIGPIPE, old_pipe);
    signal(SIGQUIT, old_quit);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(signal_set(status.out, "SigBlk:"), 0u);
    EXPECT_EQ(signal_set(status.out, "SigIgn:"), 0u);
    EXPECT_EQ(files.out, "0\n1\n2\n3\n") << "the last is the folder that is listed";
    EXPECT_EQ(input.out, "/dev/null\n");
    EXPECT_EQ(group.result, 0) << "a process group of its own";
}

// In a daemon the numbers 0 to 2 may be anybody's, the runner's own pipes included.
TEST(Runner, WorksWithoutStandardDescriptors) {
    const pid_t child = fork();
    if (child == 0) {
        for (int fd = 0; fd <= 2; ++fd)
            close(fd);
        const Ran ran = run_script("echo out; echo err >&2");
        _exit(ran.result == 0 && ran.out == "out\n" && ran.err == "err\n" ? 0 : 1);
    }
    EXPECT_EQ(harbex::test::wait_for(child), 0);
}

TEST(Runner, ChildThatNobodyMayWaitForIsNoSuccess) {
    const auto before = signal(SIGCHLD, SIG_IGN);
    const Ran ran = run_script("echo seen");
    signal(SIGCHLD, before);
    EXPECT_EQ(ran.result, -1);
    EXPECT_EQ(ran.out, "seen\n");
}

TEST(Runner, LeavesNoDescriptorAndNoZombieAndLeaksNoneBetweenThreads) {
    const ptrdiff_t before = open_descriptors();
    std::atomic<int> wrong = 0;
    in_threads(4, [&](int) {
        for (int k = 0; k < 25; ++k)
            wrong += run({"/bin/ls", "/proc/self/fd"}).out != "0\n1\n2\n3\n";
    });
    for (int i = 0; i < 20; ++i)
        run({"/no/such/program"});
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

}  // namespace
}  // namespace bsvc::test
