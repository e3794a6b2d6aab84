// Callers, and the streams that carry their bytes.
#include <limits>

#include "peers.h"

namespace bsvc::test {
namespace {

TEST(Stream, GrowsShrinksAndTakesItsOwnBytes) {
    const StreamOwner io(bs_io_create());
    size_t length = 99;
    EXPECT_EQ(bs_io_read(io.get(), &length), nullptr);
    EXPECT_EQ(length, 0u);
    ASSERT_EQ(bs_io_printf(io.get(), "%d%%|", 7), 3);
    std::string expected = "7%|";
    for (int i = 0; i < 12; ++i, expected += expected) {
        const char* bytes = bs_io_read(io.get(), &length);
        ASSERT_EQ(bs_io_write(io.get(), bytes, length), static_cast<ssize_t>(length));
    }
    ASSERT_GT(bs_io_printf(io.get(), "%s", bs_io_read(io.get(), nullptr)), 0);
    EXPECT_TRUE(bs_io_read(io.get(), nullptr) == expected + expected);

    EXPECT_EQ(bs_io_realloc(io.get(), 3), 0);
    EXPECT_STREQ(bs_io_read(io.get(), nullptr), "7%|");
    EXPECT_EQ(bs_io_realloc(io.get(), 5), 0);
    EXPECT_EQ(bs_io_write(io.get(), "x", std::numeric_limits<size_t>::max()), -1);
    EXPECT_EQ(bs_io_realloc(io.get(), std::numeric_limits<size_t>::max()), -1);
    EXPECT_EQ(bs_reply(io.get()), -1) << "no request came with it";
    EXPECT_EQ(text_of(io.get()), std::string("7%|\0\0", 5)) << "old bytes must not come back, none is lost";
    EXPECT_EQ(bs_io_realloc(io.get(), 0), 0);
    EXPECT_EQ(bs_io_read(io.get(), nullptr), nullptr);
}

TEST(Call, CarriesAnyBytesOfAnySize) {
    const Running service;
    std::string most;
    for (size_t i = 0; i < kMaxPayload - 4; ++i)
        most += static_cast<char>((i + i / 256) % 256);
    EXPECT_TRUE(call("echo", most) == (Outcome{BS_CALL_OK, most}));
    EXPECT_EQ(call(std::string(5000, 'm'), "b").text, "b");
    EXPECT_EQ(call("produce", "1048576").text.size(), kMaxPayload);
}

// The layout other programs of the NAS rely on, byte for byte.
TEST(Call, SpeaksTheWire) {
    const std::string expected("BSSQ\1\0\0\0\3\0\0\0\2\0\0\0api{}", 21);
    std::string seen(expected.size(), '?');
    {
        const std::jthread service = raw_service([&](const Descriptor& caller) {
            EXPECT_EQ(recv(caller.get(), seen.data(), seen.size(), MSG_WAITALL), std::ssize(seen));
            for (const auto& piece :
                 {std::string("BSSR\1\0", 6), std::string("\0\0\2\0\0\0o", 7), std::string("k")}) {
                EXPECT_TRUE(send_bytes(caller, piece));
                std::this_thread::sleep_for(5ms);
            }
        });
        EXPECT_EQ(call("api", "{}").text, "ok");
    }
    EXPECT_EQ(seen, expected);
}

TEST(Call, KeepsTheRequestOfAFailure) {
    const auto expect_failure = [](const char* method, const std::string& body, int result, int timeout_s = 20) {
        EXPECT_TRUE(call(method, body, timeout_s) == (Outcome{result, body})) << method << body.substr(0, 20);
    };
    const Outcome broken[] = {
        {BS_CALL_CLOSED, reply_bytes("x").substr(0, 7)},  {BS_CALL_CLOSED, reply_bytes("0123456789").substr(0, 15)},
        {BS_CALL_CLOSED, "HTTP/1.1 200 OK\r\n\r\n"},      {BS_CALL_CLOSED, reply_bytes("x") + "more"},
        {BS_CALL_TOO_LARGE, reply_bytes("", 0xffffffff)},
    };
    for (const auto& [result, reply] : broken) {
        const std::jthread service = raw_service([&reply = reply](const Descriptor& caller) {
            (void)send_bytes(caller, reply);
            // Read, so that closing does not look like a reset.
            shutdown(caller.get(), SHUT_WR);
            receive_all(caller);
        });
        expect_failure("echo", "to " + reply, result);
    }
    const Running service;
    expect_failure("silent", "request", BS_CALL_CLOSED);
    expect_failure("produce", "1048577", BS_CALL_TOO_LARGE);
    expect_failure("echo", std::string(kMaxPayload - 3, 'x'), BS_CALL_TOO_LARGE);
    expect_failure("echo", "negative", BS_CALL_ERROR, -1);
}

// One deadline for everything: a peer that keeps sending a little must not extend it.
TEST(Call, CountsItsTimeOutFromConnectToLastByte) {
    std::atomic<bool> over = false;
    const std::jthread service = raw_service([&](const Descriptor& caller) {
        for (const char byte : reply_bytes(std::string(100'000, 'x'))) {
            if (over || !send_bytes(caller, {&byte, 1})) break;
            std::this_thread::sleep_for(20ms);
        }
    });
    EXPECT_EQ(call("echo", "", 1).result, BS_CALL_TIMEOUT);
    over = true;
}

// Many at once: each gets its own reply, handlers call their own service, and callers die in between.
TEST(Call, StormLeavesNothingBehind) {
    const Running service;
    ASSERT_EQ(call("echo").result, BS_CALL_OK);
    ASSERT_TRUE(service.has_open(0));
    const ptrdiff_t before = open_descriptors();
    const std::string whole = request_bytes("echo", std::string(3000, 'x'));
    std::atomic<int> wrong = 0;
    in_threads(8, [&](int i) {
        for (int k = 0; k < 200; ++k) {
            const std::string body(static_cast<size_t>(k * 37 % 9000), static_cast<char>('a' + i));
            wrong += call(i < 3 ? "nest" : "echo", body, 60).text != body;  // one worker is left to the nested calls
            if (i == 7) wrong += !raw_peer(whole.substr(0, whole.size() * static_cast<size_t>(k % 3) / 2));
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(service.has_open(0));
    EXPECT_TRUE(wait_until([&] { return open_descriptors() == before; }));
}

}  // namespace
}  // namespace bsvc::test
