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
        {"a reply", reply_bytes("echo"), traffic.malformed},
        {"another version", std::string(whole).replace(4, 1, "\2"), traffic.malformed},
        {"a NUL in the method", request_bytes(std::string("ec\0ho", 5), ""), traffic.malformed},
        {"two requests", whole + whole, traffic.malformed},
        {"lengths whose sum is 1 in 32 bits", with_lengths("\2\0\0\0\xff\xff\xff\xff"), traffic.oversized},
    };
    for (const auto& c : cases) {
        const uint64_t before = c.counter;
        EXPECT_EQ(receive_all(raw_peer(c.bytes)), "") << c.name;
        EXPECT_EQ(c.counter, before + 1) << c.name;
        EXPECT_EQ(call("echo", "next").text, "next") << c.name;
    }
}

TEST(Limits, StalledPeersAreDroppedAtTheirDeadline) {
    const Running service(1);
    const auto start = std::chrono::steady_clock::now();
    std::vector<Descriptor> stalled;
    const std::string whole = request_bytes("echo", "body");
    for (const size_t sent : {size_t{0}, size_t{3}, size_t{16}, whole.size() - 1})
        stalled.push_back(raw_peer(whole.substr(0, sent)));
    EXPECT_TRUE(service.has_open(4));
    EXPECT_EQ(call("echo", "beside them").text, "beside them") << "the only worker is free";
    for (const Descriptor& peer : stalled)
        EXPECT_EQ(receive_all(peer), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4900ms) << "a slow client has five seconds";
    EXPECT_TRUE(service.has_open(0));
    EXPECT_EQ(service.traffic().late, 4u);
}

TEST(Limits, SixtyFourConnectionsAndNoMore) {
    const Running service(2);
    std::vector<Descriptor> idle(64);
    for (Descriptor& peer : idle)
        peer = raw_peer();
    ASSERT_TRUE(service.has_open(64));
    EXPECT_EQ(receive_all(raw_peer()), "");
    EXPECT_EQ(service.traffic().crowded, 1u);
    ASSERT_TRUE(send_bytes(idle.back(), request_bytes("echo", "there before")));
    EXPECT_EQ(receive_all(idle.back()), reply_bytes("there before"));
}

TEST(Limits, OtherUsersAreTurnedAway) {
    const Running service;
    const auto as_other = [](bool may_connect) {
        if (setresuid(65534, 65534, 65534) != 0) return 77;
        const Descriptor peer = raw_peer();
        return static_cast<bool>(peer) == may_connect && (!peer || receive_all(peer).empty()) ? 0 : 1;
    };
    const int status = run_apart([&] { return as_other(false); });
    if (status == 77) GTEST_SKIP() << "this machine lets no process become user 65534";
    EXPECT_EQ(status, 0);
    ASSERT_EQ(chmod(address_of().sun_path, 0666), 0);
    EXPECT_EQ(run_apart([&] { return as_other(true); }), 0);
    EXPECT_EQ(service.traffic().foreign, 1u);
}

}  // namespace
}  // namespace bsvc::test
