#include <gtest/gtest.h>

#include "peers.h"

namespace bsvc::test {
namespace {

TEST(Call, CarriesAnyBytesOfAnySize) {
    const Running service;
    std::string most;
    for (size_t i = 0; i < kMaxPayload - 4; ++i)
        most += static_cast<char>((i + i / 256) % 256);
    for (const std::string& body : {std::string(), most.substr(0, 1024), most}) {
        const Outcome outcome = call("echo", body);
        EXPECT_EQ(outcome.result, BS_CALL_OK) << body.size();
        EXPECT_TRUE(outcome.text == body) << body.size();
    }
    EXPECT_EQ(call(std::string(5000, 'm'), "b").text, "b");
    EXPECT_EQ(call("", "an empty method is the service's affair").result, BS_CALL_OK);
}

// The layout other programs of the NAS rely on, byte for byte.
TEST(Call, SpeaksTheWire) {
    const std::string expected("BSSQ\1\0\0\0\3\0\0\0\2\0\0\0api{}", 21);
    std::string seen(expected.size(), '?');
    const RawService service([&](const Descriptor& listener) {
        const Descriptor caller = accept_one(listener);
        EXPECT_EQ(recv(caller.get(), seen.data(), seen.size(), MSG_WAITALL), static_cast<ssize_t>(seen.size()));
        // In three pieces, as a slow service may.
        for (const std::string& piece :
             {std::string("BSSR\1\0", 6), std::string("\0\0\2\0\0\0o", 7), std::string("k")}) {
            EXPECT_TRUE(send_bytes(caller, piece));
            std::this_thread::sleep_for(5ms);
        }
    });
    const Outcome outcome = call("api", "{}");
    EXPECT_EQ(outcome.result, BS_CALL_OK);
    EXPECT_EQ(outcome.text, "ok");
    EXPECT_EQ(seen, expected);
}

TEST(Call, KeepsTheRequestOfAFailure) {
    const Running service;
    const struct {
        const char *name, *method;
        std::string body;
        int timeout_s, result;
    } cases[] = {
        {"no reply", "silent", "request", 20, BS_CALL_CLOSED},
        {"reply above the limit", "produce", "1048577", 20, BS_CALL_TOO_LARGE},
        {"request above the limit", "echo", std::string(kMaxPayload - 3, 'x'), 20, BS_CALL_TOO_LARGE},
        {"a negative time-out", "echo", "request", -1, BS_CALL_ERROR},
    };
    for (const auto& c : cases) {
        const Outcome outcome = call(c.method, c.body, c.timeout_s);
        EXPECT_EQ(outcome.result, c.result) << c.name;
        EXPECT_TRUE(outcome.text == c.body) << c.name;
    }
    EXPECT_EQ(call("produce", "1048576").text.size(), kMaxPayload);
}

TEST(Call, JudgesBrokenReplies) {
    const struct {
        const char* name;
        std::string reply;
        int result;
    } cases[] = {
        {"half a header", reply_bytes("x").substr(0, 7), BS_CALL_CLOSED},
        {"half a body", reply_bytes("0123456789").substr(0, 15), BS_CALL_CLOSED},
        {"another protocol", "HTTP/1.1 200 OK\r\n\r\n", BS_CALL_CLOSED},
        {"another version", std::string("BSSR\2\0\0\0\0\0\0\0", 12), BS_CALL_CLOSED},
        {"more than announced", reply_bytes("x") + "y", BS_CALL_CLOSED},
        {"announces four gigabytes", std::string("BSSR\1\0\0\0\xff\xff\xff\xff", 12), BS_CALL_TOO_LARGE},
    };
    for (const auto& c : cases) {
        const RawService service([&](const Descriptor& listener) {
            const Descriptor caller = accept_one(listener);
            (void)send_bytes(caller, c.reply);
            // Read, so that closing does not look like a reset.
            shutdown(caller.get(), SHUT_WR);
            receive_all(caller);
        });
        const Outcome outcome = call("echo", "kept");
        EXPECT_EQ(outcome.result, c.result) << c.name;
        EXPECT_EQ(outcome.text, "kept") << c.name;
    }
}

// One deadline for everything: a peer that keeps sending a little must not extend it.
TEST(Call, CountsItsTimeOutFromConnectToLastByte) {
    std::atomic<bool> over = false;
    const RawService service([&](const Descriptor& listener) {
        const Descriptor caller = accept_one(listener);
        for (const char byte : reply_bytes(std::string(100'000, 'x'))) {
            if (over || !send_bytes(caller, {&byte, 1})) break;
            std::this_thread::sleep_for(20ms);
        }
    });
    EXPECT_EQ(call("echo", "", 1).result, BS_CALL_TIMEOUT);
    over = true;
}

TEST(Call, WaitsForAFullBacklog) {
    std::atomic<bool> may_accept = false;
    const RawService service(
        [&](const Descriptor& listener) {
            while (!may_accept)
                std::this_thread::sleep_for(1ms);
            (void)accept_one(listener);  // the one that filled the backlog
            const Descriptor caller = accept_one(listener);
            (void)send_bytes(caller, reply_bytes("at last"));
            receive_all(caller);
        },
        0);
    const Descriptor filler = raw_connection();
    ASSERT_TRUE(filler);
    EXPECT_EQ(call("echo", "kept", 1).result, BS_CALL_TIMEOUT) << "full all the time";
    std::thread later([&] {
        std::this_thread::sleep_for(50ms);
        may_accept = true;
    });
    EXPECT_EQ(call("echo").text, "at last");
    later.join();
}

TEST(Call, MayCallItsOwnService) {
    const Running service(4);
    EXPECT_EQ(call("nest", "3").text, "ground") << "three handlers wait for the fourth";
    std::atomic<int> right = 0;
    in_threads(3, [&](int) {
        for (int k = 0; k < 100; ++k)
            right += call("nest", "1", 60).text == "ground";
    });
    EXPECT_EQ(right, 300);
}

TEST(Call, ManyAtOnceEachGetTheirOwnReply) {
    const Running service;
    std::atomic<int> wrong = 0;
    in_threads(8, [&](int i) {
        for (int k = 0; k < 200; ++k) {
            const std::string body(static_cast<size_t>(k * 37 % 9000), static_cast<char>('a' + i));
            const Outcome outcome = call("echo", body);
            wrong += outcome.result != BS_CALL_OK || outcome.text != body;
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(eventually([&] { return service.traffic().open == 0; }));
}

}  // namespace
}  // namespace bsvc::test
