// A service's life: its name, its start, its signals, its end.
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>

#include "peers.h"

namespace bsvc::test {
namespace {

void expect_refused(const std::string& name, int reason) {
    EXPECT_EQ(bs_create(name.c_str(), 4, 1, serve), nullptr) << name;
    EXPECT_EQ(errno, reason) << name;
}

TEST(Name, BelongsToOneLiveServiceWhateverTheUmask) {
    std::filesystem::remove_all("/var/run/bsvc");
    const mode_t usual = umask(0777);
    auto old = std::make_unique<Running>();
    umask(usual);
    EXPECT_EQ(std::filesystem::status(address_of().sun_path).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(std::filesystem::status("/var/run/bsvc").permissions(), std::filesystem::perms(0755));
    expect_refused(kService, EADDRINUSE);
    old.reset();
    EXPECT_FALSE(std::filesystem::exists(address_of().sun_path)) << "given back";
    (void)bound_socket();
    EXPECT_NE(Running().get(), nullptr) << "a dead service's socket is in nobody's way";
}

TEST(Name, HostileOnesAreRefused) {
    const std::string longest(88, 'n'), path = address_of().sun_path;
    for (const std::string& name : {std::string(), std::string("../evil"), longest + "n"})
        expect_refused(name, EINVAL);
    std::ofstream(path) << "somebody's file";
    expect_refused(kService, EEXIST);
    unlink(path.c_str());
}

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
        held = false;
        EXPECT_EQ(service.stop(), 0);
        first.join();
        EXPECT_EQ(in_flight.text, "finished");
        EXPECT_EQ(self_call_result, BS_CALL_REFUSED) << "a call into itself must not hold up the stop";
        EXPECT_EQ(bs_start(service.get()), -1) << "once";
    }
    EXPECT_EQ(open_descriptors(), before);
}

bs_service* signalled = nullptr;
std::atomic<int> delivered{0};

void count(int) {
    ++delivered;
}

TEST(Lifecycle, SignalsArriveInTheLoop) {
    EXPECT_EQ(run_apart([] {
                  if (bs_signal(SIGINT, count) != 0 || bs_signal(SIGUSR1, count) != 0) return 1;
                  bs_signal(SIGTERM, [](int) { bs_stop(signalled); });
                  kill(getpid(), SIGINT);
                  signalled = bs_create("bus_test_signals", 1, 1, serve);
                  if (delivered != 0) return 2;
                  held = true;
                  const std::jthread caller([] { call("hold", "", 20, "bus_test_signals"); });
                  const std::jthread sender([] {
                      if (!eventually([] { return handlers_inside == 1 && delivered == 1; })) _exit(3);
                      kill(getpid(), SIGUSR1);
                      if (!eventually([] { return delivered == 2; })) _exit(4);
                      held = false;
                      kill(getpid(), SIGTERM);
                  });
                  const int result = bs_start(signalled);
                  bs_free(signalled);
                  return result;
              }),
              0);
    EXPECT_EQ(bs_signal(SIGKILL, count), -1);
}

}  // namespace
}  // namespace bsvc::test
