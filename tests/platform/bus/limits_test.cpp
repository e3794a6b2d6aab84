// What a service does not let its callers do to it.
#include <sys/stat.h>

#include "peers.h"

namespace bsvc::test {
namespace {

TEST(Limits, WhatIsNoRequestIsClosedAndCounted) {
    const Running service(1);
    const Traffic& traffic = service.traffic();
    const std::string whole = request_bytes("echo", "body");
    const auto with_lengths = [&](const char* lengths) { return whole.substr(0, 8) + std::string(lengths, 8); };
    const struct {
        const char* name;
        std::string bytes;
        const std::atomic<uint64_t>& counter;
    } cases[] = {
        {"a first byte that begins no request", "X", traffic.malformed},
        {"a reply", reply_bytes("echo"), traffic.malformed},
        {"a NUL in the method", request_bytes(std::string("ec\0ho", 5), ""), traffic.malformed},
        {"two requests", whole + whole, traffic.malformed},
        {"lengths whose sum is 1 in 32 bits", with_lengths("\2\0\0\0\xff\xff\xff\xff"), traffic.oversized},
        {"a method of 2^32 - 1 bytes", with_lengths("\xff\xff\xff\xff\0\0\0\0"), traffic.oversized},
        {"one byte above the limit", with_lengths("\1\0\0\0\0\0\x10\0"), traffic.oversized},
    };
    for (const auto& c : cases) {
        const uint64_t before = c.counter;
        EXPECT_EQ(receive_all(raw_peer(c.bytes)), "") << c.name;
        EXPECT_EQ(c.counter, before + 1) << c.name;
        EXPECT_EQ(call("echo", "next").text, "next") << c.name;
    }
}

// Both limits of five seconds at once: requests that never become whole, and a reply that nobody reads.
TEST(Limits, StalledPeersAreDroppedAtTheirDeadline) {
    const Running service(1);
    const Running single(1, "bus_test_single");
    const auto start = std::chrono::steady_clock::now();
    const Descriptor deaf = raw_peer(request_bytes("produce", "1048576"), "bus_test_single");
    const std::jthread queued([&] { EXPECT_EQ(call("echo", "behind", 20, "bus_test_single").text, "behind"); });
    std::vector<Descriptor> stalled;
    const std::string whole = request_bytes("echo", "body");
    for (const size_t sent : {size_t{0}, size_t{0}, size_t{3}, size_t{15}, size_t{16}, whole.size() - 1})
        stalled.push_back(raw_peer(whole.substr(0, sent)));
    EXPECT_TRUE(service.has_open(6));
    EXPECT_EQ(call("echo", "beside them").text, "beside them") << "the only worker is free";
    for (const Descriptor& peer : stalled)
        EXPECT_EQ(receive_all(peer), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4900ms) << "a slow client has five seconds";
    EXPECT_TRUE(service.has_open(0));
    EXPECT_EQ(service.traffic().late, 6u);
}

TEST(Limits, SixtyFourConnectionsAndNoMore) {
    const Running service(2);
    std::vector<Descriptor> idle(64);
    for (Descriptor& peer : idle)
        peer = raw_peer();
    ASSERT_TRUE(service.has_open(64));
    EXPECT_EQ(receive_all(raw_peer()), "");
    EXPECT_EQ(service.traffic().crowded, 1u);
    ASSERT_TRUE(send_bytes(idle.back(), request_bytes("echo", "was there before")));
    EXPECT_EQ(receive_all(idle.back()), reply_bytes("was there before"));
    idle.clear();
    ASSERT_TRUE(service.has_open(0));
    EXPECT_EQ(call("echo", "room again").text, "room again");
}

// However the requests came: half of these become whole in the slow lane.
TEST(Limits, NoMoreCallbacksAtOnceThanWorkers) {
    const Running service(2);
    held = true;
    const std::string whole = request_bytes("hold", "x");
    std::vector<Descriptor> peers;
    for (int i = 0; i < 4; ++i)
        peers.push_back(raw_peer(whole.substr(0, 5)));
    ASSERT_TRUE(service.has_open(4));
    for (size_t i = 0; i < 4; ++i) {
        ASSERT_TRUE(send_bytes(peers[i], whole.substr(5)));
        peers.push_back(raw_peer(whole));
    }
    EXPECT_TRUE(wait_until([] { return handlers_inside == 2; }));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(handlers_inside, 2);
    held = false;
    for (const Descriptor& peer : peers)
        EXPECT_EQ(receive_all(peer), reply_bytes("x"));
}

// The socket's mode keeps them out; behind it stands the check of the peer.
TEST(Limits, OtherUsersAreTurnedAway) {
    const Running service;
    ASSERT_EQ(chmod(address_of().sun_path, 0666), 0);
    const int status = run_apart([] {
        if (setresuid(65534, 65534, 65534) != 0) return 77;
        const Descriptor peer = raw_peer();
        return peer && receive_all(peer).empty() ? 0 : 1;
    });
    if (status == 77) GTEST_SKIP() << "this machine lets no process become user 65534";
    EXPECT_EQ(status, 0);
    EXPECT_EQ(service.traffic().foreign, 1u);
    EXPECT_EQ(call("echo", "own user").text, "own user");
}

}  // namespace
}  // namespace bsvc::test
