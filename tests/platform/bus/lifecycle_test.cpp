#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>

#include "peers.h"
#include "support/run_program.h"

namespace bsvc::test {
namespace {

TEST(Lifecycle, StopWaitsForCallsInFlightAndTurnsTheRestAway) {
    const ptrdiff_t before = open_descriptors();
    {
        Running service(1);
        held = true;
        Outcome in_flight{}, waiting{};
        std::thread first([&] { in_flight = call("hold_and_call", "finished"); });
        ASSERT_TRUE(eventually([] { return handlers_inside == 1; }));
        std::thread second([&] { waiting = call("echo", "kept"); });
        std::this_thread::sleep_for(20ms);
        bs_stop(service.get());
        second.join();
        EXPECT_TRUE(waiting.result == BS_CALL_CLOSED || waiting.result == BS_CALL_REFUSED) << waiting.result;
        EXPECT_EQ(waiting.text, "kept");
        EXPECT_EQ(handlers_inside, 1);
        EXPECT_EQ(call("echo").result, BS_CALL_REFUSED) << "while the last call goes on";
        held = false;
        EXPECT_EQ(service.stop(), 0);
        EXPECT_EQ(handlers_inside, 0);
        first.join();
        EXPECT_EQ(in_flight.result, BS_CALL_OK);
        EXPECT_EQ(in_flight.text, "finished");
        EXPECT_EQ(self_call_result, BS_CALL_REFUSED) << "a call into itself must not hold up the stop";
        errno = 0;
        EXPECT_EQ(bs_start(service.get()), -1);
        EXPECT_EQ(errno, EALREADY);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Lifecycle, StopBeforeStart) {
    bs_service* service = bs_create(kService, 4, 1, serve);
    ASSERT_NE(service, nullptr);
    bs_stop(service);
    EXPECT_EQ(bs_start(service), 0);
    bs_free(service);

    bs_stop(nullptr);
    service = bs_create(kService, 4, 1, serve);
    EXPECT_EQ(bs_start(service), 0) << "remembered";
    bs_free(service);

    const Running next;
    EXPECT_EQ(call("echo", "served").text, "served") << "remembered once";
    bs_free(nullptr);
    EXPECT_EQ(bs_start(nullptr), -1);
}

TEST(Lifecycle, CallsBeforeStartWaitForIt) {
    bs_service* service = bs_create(kService, 2, 1, serve);
    ASSERT_NE(service, nullptr);
    Outcome early{};
    std::thread caller([&] { early = call("echo", "early"); });
    std::this_thread::sleep_for(20ms);
    std::thread loop([&] { EXPECT_EQ(bs_start(service), 0); });
    caller.join();
    EXPECT_EQ(early.text, "early");
    bs_stop(service);
    loop.join();
    bs_free(service);
}

// A process of its own for what changes the signals of the whole process.
int run_apart(int (*body)()) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return harbex::test::wait_for(child);
}

bs_service* signalled = nullptr;
std::atomic<int> delivered{0};

void count(int) {
    ++delivered;
}

void stop_signalled(int) {
    bs_stop(signalled);
}

TEST(Lifecycle, SignalsAreHeldUntilTheLoopRuns) {
    EXPECT_EQ(run_apart([] {
                  if (bs_signal(SIGINT, count) != 0 || bs_signal(SIGTERM, stop_signalled) != 0) return 1;
                  kill(getpid(), SIGINT);
                  raise(SIGTERM);
                  if (delivered != 0) return 2;
                  signalled = bs_create("bus_test_signals", 4, 1, serve);
                  if (signalled == nullptr || delivered != 0) return 3;
                  if (bs_start(signalled) != 0) return 4;
                  bs_free(signalled);
                  return delivered == 1 ? 0 : 5;
              }),
              0);
}

TEST(Lifecycle, SignalsArriveWhileEveryWorkerIsBusy) {
    EXPECT_EQ(run_apart([] {
                  bs_signal(SIGUSR1, count);
                  bs_signal(SIGTERM, stop_signalled);
                  signalled = bs_create("bus_test_signals", 1, 1, serve);
                  held = true;
                  std::thread caller([] { call("hold", "", 20, "bus_test_signals"); });
                  std::thread sender([] {
                      if (!eventually([] { return handlers_inside == 1; })) _exit(1);
                      kill(getpid(), SIGUSR1);
                      if (!eventually([] { return delivered == 1; })) _exit(2);
                      held = false;
                      kill(getpid(), SIGTERM);
                  });
                  const int result = bs_start(signalled);
                  sender.join();
                  caller.join();
                  bs_free(signalled);
                  return result;
              }),
              0);
}

TEST(Lifecycle, SignalsThatCannotBeHeldAreRefused) {
    for (int signo : {0, -1, 4096, SIGKILL, SIGSTOP}) {
        errno = 0;
        EXPECT_EQ(bs_signal(signo, count), -1) << signo;
        EXPECT_EQ(errno, EINVAL) << signo;
    }
    EXPECT_EQ(bs_signal(SIGUSR2, nullptr), -1);
}

// With the default action in place SIGPIPE would end the process on either side.
TEST(Lifecycle, BrokenPipesKillNobody) {
    EXPECT_EQ(run_apart([] {
                  signal(SIGPIPE, SIG_DFL);
                  const Running service(1, "bus_test_pipe");
                  for (int i = 0; i < 50; ++i) {
                      const Descriptor peer = raw_connection("bus_test_pipe");
                      send_bytes(peer, request_bytes("produce", "1000000"));
                  }
                  const std::string large(900'000, 'x');
                  const RawService hangs_up([](const Descriptor& listener) { (void)accept_one(listener); }, 8,
                                            "bus_test_hang_up");
                  if (call("echo", large, 20, "bus_test_hang_up").result != BS_CALL_CLOSED) return 1;
                  return call("echo", "alive", 20, "bus_test_pipe").text == "alive" ? 0 : 2;
              }),
              0);
}

}  // namespace
}  // namespace bsvc::test
