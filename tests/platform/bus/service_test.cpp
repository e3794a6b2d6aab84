// A service's life: its name, its start, its signals, its end.
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>

#include "peers.h"

namespace bsvc::test {
namespace {

void expect_refused(const std::string& name, int reason) {
    errno = 0;
    EXPECT_EQ(bs_create(name.c_str(), 4, 1, serve), nullptr) << name;
    EXPECT_EQ(errno, reason) << name;
}

TEST(Name, BelongsToOneLiveServiceWhateverTheUmask) {
    std::filesystem::remove_all("/var/run/bsvc");
    const mode_t usual = umask(0777);
    auto old = std::make_unique<Running>();
    umask(usual);
    using std::filesystem::perms, std::filesystem::status;
    EXPECT_EQ(status(address_of().sun_path).permissions(), perms(0600));
    EXPECT_EQ(status("/var/run/bsvc").permissions(), perms(0755));
    expect_refused(kService, EADDRINUSE);
    EXPECT_EQ(call("echo", "unharmed").text, "unharmed");
    EXPECT_EQ(old->stop(), 0);
    {
        const Running successor;
        ASSERT_NE(successor.get(), nullptr) << "nobody answers behind the name any more";
        old.reset();
        EXPECT_EQ(call("echo", "to the successor").text, "to the successor");
    }
    EXPECT_FALSE(std::filesystem::exists(address_of().sun_path)) << "given back";
    (void)bound_socket();
    EXPECT_NE(Running().get(), nullptr) << "a dead service's socket is in nobody's way";
}

TEST(Name, HostileOnesAreRefused) {
    const std::string longest(88, 'n'), path = address_of().sun_path;
    for (const std::string& name : {std::string(), std::string("../evil"), longest + "n"})
        expect_refused(name, EINVAL);
    EXPECT_NE(Running(1, longest.c_str()).get(), nullptr) << "the longest that fits";
    std::ofstream(path) << "somebody's file";
    expect_refused(kService, EEXIST);
    EXPECT_EQ(std::filesystem::file_size(path), 15u);
    unlink(path.c_str());
}

TEST(Lifecycle, StopWaitsForCallsInFlightAndTurnsTheRestAway) {
    const ptrdiff_t before = open_descriptors();
    {
        Running service(1);
        held = true;
        Outcome in_flight{}, waiting{};
        std::thread first([&] { in_flight = call("hold_and_call", "finished"); });
        ASSERT_TRUE(wait_until([] { return handlers_inside == 1; }));
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
        EXPECT_EQ(in_flight.text, "finished");
        EXPECT_EQ(self_call_result, BS_CALL_REFUSED) << "a call into itself must not hold up the stop";
        EXPECT_EQ(bs_start(service.get()), -1) << "once";
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Lifecycle, StopBeforeStartIsRememberedOnce) {
    for (const bool created : {true, false}) {
        if (!created) bs_stop(nullptr);
        bs_service* service = bs_create(kService, 4, 1, serve);
        if (created) bs_stop(service);
        EXPECT_EQ(bs_start(service), 0) << created;
        bs_free(service);
    }
    const Running next;
    EXPECT_EQ(call("echo", "served").text, "served");
}

bs_service* signalled = nullptr;
std::atomic<int> delivered{0};

void count(int) {
    ++delivered;
}

// Those that came before the loop runs wait for it; those that come later do not wait for a busy worker.
TEST(Lifecycle, SignalsArriveInTheLoop) {
    EXPECT_EQ(run_apart([] {
                  if (bs_signal(SIGINT, count) != 0 || bs_signal(SIGUSR1, count) != 0) return 1;
                  bs_signal(SIGTERM, [](int) { bs_stop(signalled); });
                  kill(getpid(), SIGINT);
                  signalled = bs_create("bus_test_signals", 1, 1, serve);
                  if (signalled == nullptr || delivered != 0) return 2;
                  held = true;
                  const std::jthread caller([] { call("hold", "", 20, "bus_test_signals"); });
                  const std::jthread sender([] {
                      if (!wait_until([] { return handlers_inside == 1 && delivered == 1; })) _exit(3);
                      kill(getpid(), SIGUSR1);
                      if (!wait_until([] { return delivered == 2; })) _exit(4);
                      held = false;
                      kill(getpid(), SIGTERM);
                  });
                  const int result = bs_start(signalled);
                  bs_free(signalled);
                  return result;
              }),
              0);
    for (const int signo : {0, 4096, SIGKILL, SIGSTOP})
        EXPECT_EQ(bs_signal(signo, count), -1) << signo;
}

// With the default action in place SIGPIPE would end the process on either side.
TEST(Lifecycle, BrokenPipesKillNobody) {
    EXPECT_EQ(run_apart([] {
                  signal(SIGPIPE, SIG_DFL);
                  const Running service(1, "bus_test_pipe");
                  for (int i = 0; i < 50; ++i)
                      (void)raw_peer(request_bytes("produce", "1000000"), "bus_test_pipe");
                  const std::jthread hangs_up = raw_service([](const Descriptor&) {});
                  if (call("echo", std::string(900'000, 'x')).result != BS_CALL_CLOSED) return 1;
                  return call("echo", "alive", 20, "bus_test_pipe").text == "alive" ? 0 : 2;
              }),
              0);
}

}  // namespace
}  // namespace bsvc::test
