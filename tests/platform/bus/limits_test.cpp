#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <ctime>
#include <vector>

#include "peers.h"
#include "support/run_program.h"

namespace bsvc::test {
namespace {

TEST(Limits, ByteByByteIsSlowButRight) {
    const Running service(1);
    const std::string request = request_bytes("echo", "slowly");
    const Descriptor slow = raw_connection();
    for (size_t i = 0; i < request.size(); ++i) {
        ASSERT_TRUE(send_bytes(slow, request.substr(i, 1)));
        // The only worker stays free for others meanwhile.
        ASSERT_EQ(call("echo", "fast").text, "fast") << "behind " << i;
    }
    EXPECT_EQ(receive_all(slow), reply_bytes("slowly"));
}

TEST(Limits, WhatIsNoRequestIsClosedAndCounted) {
    const Running service(1);
    const Traffic& traffic = service.traffic();
    const std::string whole = request_bytes("echo", "body");
    const auto with_lengths = [&](const char* lengths) { return whole.substr(0, 8) + std::string(lengths, 8); };
    const struct {
        const char* name;
        std::string bytes;
        const std::atomic<uint64_t>* counter;
    } cases[] = {
        {"a reply", reply_bytes("echo"), &traffic.malformed},
        {"one wrong byte", "X", &traffic.malformed},
        {"another version", std::string(whole).replace(4, 1, "\2"), &traffic.malformed},
        {"a NUL in the method", request_bytes(std::string("ec\0ho", 5), ""), &traffic.malformed},
        {"two requests", whole + whole, &traffic.malformed},
        {"a method of 2^32-1", with_lengths("\xff\xff\xff\xff\0\0\0\0"), &traffic.oversized},
        {"lengths whose sum is 1 in 32 bits", with_lengths("\2\0\0\0\xff\xff\xff\xff"), &traffic.oversized},
        {"one byte above the limit", with_lengths("\1\0\0\0\0\0\x10\0"), &traffic.oversized},
    };
    for (const auto& c : cases) {
        const uint64_t before = *c.counter;
        const Descriptor peer = raw_connection();
        ASSERT_TRUE(send_bytes(peer, c.bytes)) << c.name;
        EXPECT_EQ(receive_all(peer), "") << c.name;
        EXPECT_EQ(*c.counter, before + 1) << c.name;
        EXPECT_EQ(call("echo", "next").text, "next") << c.name;
    }
}

TEST(Limits, DeadCallersLeaveNothingBehind) {
    const Running service;
    ASSERT_EQ(call("echo").result, BS_CALL_OK);
    ASSERT_TRUE(eventually([&] { return service.traffic().open == 0; }));
    const ptrdiff_t before = open_descriptors();
    const std::string whole = request_bytes("echo", std::string(3000, 'x'));
    for (const size_t size : {whole.size(), whole.size() / 2, size_t{0}}) {
        for (int i = 0; i < 1000; ++i) {
            const Descriptor peer = raw_connection();
            ASSERT_TRUE(peer && send_bytes(peer, whole.substr(0, size))) << size << " " << i;
        }
        EXPECT_TRUE(eventually([&] { return service.traffic().open == 0; })) << size;
        EXPECT_TRUE(eventually([&] { return open_descriptors() == before; })) << size;
        EXPECT_EQ(call("echo", "still here").text, "still here") << size;
    }
}

TEST(Limits, ReplyNeverReachesAnotherSocketOfTheSameNumber) {
    const Running service(1);
    EXPECT_EQ(call("reply_too_late").result, BS_CALL_CLOSED);
    EXPECT_TRUE(eventually([&] { return service.traffic().open == 0; }));
    EXPECT_EQ(late_reply_result, -1);
}

// Both limits of five seconds at once: requests that never become whole, and a reply that nobody reads.
TEST(Limits, StalledPeersAreDroppedAtTheirDeadlineWithoutTraffic) {
    const Running service(4);
    const Running single(1, "bus_test_single");
    const auto start = std::chrono::steady_clock::now();
    const Descriptor deaf = raw_connection("bus_test_single");
    ASSERT_TRUE(send_bytes(deaf, request_bytes("produce", "1048576")));
    std::vector<Descriptor> stalled;
    const std::string whole = request_bytes("echo", "body");
    for (size_t sent : {size_t{0}, size_t{0}, size_t{3}, size_t{15}, size_t{16}, whole.size() - 1}) {
        stalled.push_back(raw_connection());
        ASSERT_TRUE(send_bytes(stalled.back(), whole.substr(0, sent)));
    }
    EXPECT_TRUE(eventually([&] { return service.traffic().open == 6; }));
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(call("echo", "beside them").text, "beside them");
    std::thread queued([&] { EXPECT_EQ(call("echo", "behind it", 60, "bus_test_single").text, "behind it"); });
    for (const Descriptor& peer : stalled)
        EXPECT_EQ(receive_all(peer), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4900ms) << "a slow client has five seconds";
    EXPECT_TRUE(eventually([&] { return service.traffic().late == 6 && service.traffic().open == 0; }));
    queued.join();
}

TEST(Limits, SixtyFourConnectionsAndNoMore) {
    const Running service(2);
    std::vector<Descriptor> idle;
    for (int i = 0; i < 64; ++i)
        idle.push_back(raw_connection());
    ASSERT_TRUE(eventually([&] { return service.traffic().open == 64; }));
    const Descriptor one_more = raw_connection();
    EXPECT_EQ(receive_all(one_more), "");
    EXPECT_EQ(service.traffic().crowded, 1u);
    // Those that were there before are still served.
    ASSERT_TRUE(send_bytes(idle.back(), request_bytes("echo", "late but in time")));
    EXPECT_EQ(receive_all(idle.back()), reply_bytes("late but in time"));
    idle.clear();
    ASSERT_TRUE(eventually([&] { return service.traffic().open == 0; }));
    EXPECT_EQ(call("echo", "room again").text, "room again");
}

TEST(Limits, OtherUsersAreTurnedAway) {
    const Running service;
    // The file's mode keeps them out already; behind it stands the check of the peer.
    ASSERT_EQ(chmod(address_of(kService).sun_path, 0666), 0);
    constexpr uid_t kOther = 65534;
    const Descriptor peer = raw_socket();
    const pid_t child = fork();
    if (child == 0) {
        if (setresuid(kOther, kOther, kOther) != 0) _exit(77);
        char byte;
        _exit(connect_socket(peer.get(), kService) && recv(peer.get(), &byte, 1, 0) == 0 ? 0 : 1);
    }
    const int status = harbex::test::wait_for(child);
    if (status == 77) GTEST_SKIP() << "this machine lets no process become user 65534";
    EXPECT_EQ(status, 0) << "connected, and closed";
    EXPECT_EQ(service.traffic().foreign, 1u);
    EXPECT_EQ(call("echo", "own user").text, "own user");
}

// Callers wait while the process is out of descriptors, and nothing spins meanwhile.
TEST(Limits, OutOfDescriptorsIsWaitedOut) {
    const Running service(2);
    ASSERT_EQ(call("echo").result, BS_CALL_OK);
    const Descriptor peer = raw_socket();
    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit none{3, usual.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    ASSERT_TRUE(connect_socket(peer.get(), kService));
    EXPECT_TRUE(send_bytes(peer, request_bytes("echo", "patience")));
    const std::clock_t start = std::clock();
    std::this_thread::sleep_for(300ms);
    const std::clock_t used = std::clock() - start;
    setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_EQ(receive_all(peer), reply_bytes("patience"));
    EXPECT_LT(used, CLOCKS_PER_SEC * 15 / 100) << "processor time of this process";
}

}  // namespace
}  // namespace bsvc::test
