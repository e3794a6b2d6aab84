#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include "peers.h"

namespace bsvc::test {
namespace {

using harbex::test::Finished;

Finished run(std::vector<const char*> argv) {
    argv.push_back(nullptr);
    const Stream out(bs_io_create());
    const Stream err(bs_io_create());
    const int result = bs_io_execv(0, out.get(), err.get(), const_cast<char* const*>(argv.data()));
    return {result, text_of(out.get()), text_of(err.get())};
}

Finished run_script(const char* script) {
    return run({"/bin/sh", "-c", script});
}

TEST(Runner, TellsHowTheProgramEnded) {
    const struct {
        std::vector<const char*> command;
        int result;
        const char *out, *err;
    } cases[] = {
        {{"/bin/sh", "-c", "echo out; echo err >&2"}, 0, "out\n", "err\n"},
        {{"/bin/echo", "a  b", "$(id)", "'"}, 0, "a  b $(id) '\n", ""},
        {{"/no/such/program"}, 127, "", ""},
        {{"/bin/sh", "-c", "echo last; kill -9 $$"}, 128 + SIGKILL, "last\n", ""},
        {{"/bin/sh", "-c", "sleep 1000 & echo on"}, 0, "on\n", ""},  // it holds the pipe
    };
    const ptrdiff_t before = open_descriptors();
    for (const auto& c : cases) {
        const Finished ran = run(c.command);
        EXPECT_EQ(ran.status, c.result) << c.out;
        EXPECT_EQ(ran.out, c.out);
        EXPECT_EQ(ran.err, c.err) << c.out;
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST(Runner, TakesMegabytesOnBothPipesAtOnce) {
    const Finished ran = run_script("head -c 1048576 /dev/zero & head -c 2097152 /dev/zero >&2; wait");
    EXPECT_EQ(ran.out.size(), 1048576u);
    EXPECT_EQ(ran.err.size(), 2097152u);
}

// No signal blocked or ignored but the C library's own, 32 and 33; no open descriptor; its own process group.
TEST(Runner, ChildStartsClean) {
    EXPECT_EQ(run_apart([] {
                  sigset_t blocked;
                  sigfillset(&blocked);
                  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
                  for (const int signo : {SIGPIPE, SIGQUIT})
                      signal(signo, SIG_IGN);
                  const Descriptor leaking(open("/etc/hostname", O_RDONLY));
                  dup2(leaking.get(), STDIN_FILENO);
                  const Finished ran = run_script(
                      "ls /proc/$$/fd; readlink /proc/$$/fd/0; "
                      "read pid name state parent group rest </proc/$$/stat; [ $pid = $group ]");
                  EXPECT_EQ(ran.status, 0);
                  EXPECT_EQ(ran.out, "0\n1\n2\n/dev/null\n");
                  const std::string signals = run({"/bin/grep", "-E", "Sig(Blk|Ign)", "/proc/self/status"}).out;
                  EXPECT_TRUE(signals == "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n" ||
                              signals == "SigBlk:\t0000000000000000\nSigIgn:\t0000000180000000\n")
                      << signals;
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
}

}  // namespace
}  // namespace bsvc::test
