#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include "peers.h"

namespace bsvc::test {
namespace {

struct Ran {
    int result;
    std::string out, err;
    bool operator==(const Ran&) const = default;
};

Ran run(std::vector<const char*> argv) {
    argv.push_back(nullptr);
    const StreamOwner out(bs_io_create());
    const StreamOwner err(bs_io_create());
    const int result = bs_io_execv(0, out.get(), err.get(), const_cast<char* const*>(argv.data()));
    return {result, text_of(out.get()), text_of(err.get())};
}

Ran run_script(const char* script) {
    return run({"/bin/sh", "-c", script});
}

TEST(Runner, TellsHowTheProgramEnded) {
    const std::pair<std::vector<const char*>, Ran> cases[] = {
        {{"/bin/sh", "-c", "echo out; echo err >&2"}, {0, "out\n", "err\n"}},
        {{"/bin/echo", "a  b", "$(id)", "'"}, {0, "a  b $(id) '\n", ""}},
        {{"/bin/sh", "-c", "echo so far; exit 3"}, {3, "so far\n", ""}},
        {{"/no/such/program"}, {127, "", ""}},
        {{"sh", "-c", "exit 0"}, {127, "", ""}},
        {{"/bin/sh", "-c", "echo last; kill -9 $$"}, {128 + SIGKILL, "last\n", ""}},
        {{}, {-1, "", ""}},
    };
    for (const auto& [command, expected] : cases)
        EXPECT_TRUE(run(command) == expected) << expected.result << expected.out;
}

TEST(Runner, TakesMegabytesOnBothPipesAtOnce) {
    const Ran ran = run_script("head -c 1048576 /dev/zero & head -c 2097152 /dev/zero >&2; wait");
    EXPECT_EQ(ran.out.size(), 1048576u);
    EXPECT_EQ(ran.err.size(), 2097152u);
    // Output that nobody wants, the same way.
    const char* const argv[] = {"/bin/sh", "-c", "head -c 1048576 /dev/zero; head -c 1048576 /dev/zero >&2", nullptr};
    EXPECT_EQ(bs_io_execv(0, nullptr, nullptr, const_cast<char* const*>(argv)), 0);
}

TEST(Runner, EndsWithTheChildNotWithItsPipes) {
    const Ran ran = run_script("(while :; do echo noise; sleep 0.01; done) & echo $!");
    EXPECT_EQ(ran.result, 0);
    const pid_t daemon = std::atoi(ran.out.substr(ran.out.find_first_of("0123456789")).c_str());
    ASSERT_GT(daemon, 1);
    EXPECT_EQ(kill(daemon, SIGKILL), 0) << "it still runs, and holds the pipe";
}

// No signal blocked or ignored but 32 and 33, the C library's own, which it hands on ignored; no descriptor that
// somebody forgot to close on exec; its own process group.
TEST(Runner, ChildStartsClean) {
    EXPECT_EQ(run_apart([] {
                  sigset_t blocked;
                  sigfillset(&blocked);
                  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
                  for (const int signo : {SIGPIPE, SIGQUIT})
                      signal(signo, SIG_IGN);
                  const Descriptor leaking(open("/etc/hostname", O_RDONLY));
                  dup2(leaking.get(), STDIN_FILENO);
                  const Ran ran = run_script(
                      "ls /proc/$$/fd; readlink /proc/$$/fd/0; "
                      "read pid name state parent group rest </proc/$$/stat; [ $pid = $group ]");
                  EXPECT_EQ(ran.result, 0);
                  EXPECT_EQ(ran.out, "0\n1\n2\n/dev/null\n");
                  // Not by a shell, which puts its own signals right.
                  const std::string signals = run({"/bin/grep", "-E", "Sig(Blk|Ign)", "/proc/self/status"}).out;
                  EXPECT_TRUE(signals == "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n" ||
                              signals == "SigBlk:\t0000000000000000\nSigIgn:\t0000000180000000\n")
                      << signals;
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
}

// In a daemon the numbers 0 to 2 may be anybody's, the runner's own pipes included.
TEST(Runner, WorksWithoutStandardDescriptors) {
    EXPECT_EQ(run_apart([] {
                  for (int fd = 0; fd <= 2; ++fd)
                      close(fd);
                  const Ran ran = run_script("echo out; echo err >&2");
                  return ran.result == 0 && ran.out == "out\n" && ran.err == "err\n" ? 0 : 1;
              }),
              0);
}

TEST(Runner, LeavesNoDescriptorAndNoZombieAndLeaksNoneBetweenThreads) {
    const ptrdiff_t before = open_descriptors();
    std::atomic<int> wrong = 0;
    in_threads(4, [&](int) {
        for (int k = 0; k < 25; ++k) {
            wrong +=
                run({"/bin/ls", "/proc/self/fd"}).out != "0\n1\n2\n3\n";  // the last is the folder that is listed
            wrong += run({"/no/such/program"}).result != 127;
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

}  // namespace
}  // namespace bsvc::test
