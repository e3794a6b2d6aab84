#include "peers.h"

namespace bsvc::test {
namespace {

// What the shell makes of these words behind "bsh".
harbex::test::Finished bsh(const std::string& words) {
    return run_program({"/bin/sh", "-c", BSH_PROGRAM " " + words});
}

TEST(Bsh, PrintsRepliesAndJudgesTheirEnvelope) {
    const Running service;
    const struct {
        const char* words;
        int status;
        const char* out;
    } cases[] = {
        {R"(bus_test.echo '{"error": 0, "data": 1}')", 0, "{\"error\": 0, \"data\": 1}\n"},
        {R"(bus_test.echo '{"error": 0.0}')", 1, "{\"error\": 0.0}\n"},
        {"bus_test.echo", 1, "\n"},
        {R"(bus_test.api.v1.get '{"error":0}')", 0, "{\"error\":0}\n"},
        {R"(--timeout 9 bus_test.echo --timeout=8 '{"error":0}')", 0, "{\"error\":0}\n"},
        {"bus_test.echo -- --timeout", 1, "--timeout\n"},
        {"bus_test.echo - </etc/services | wc -c | grep -qx $(($(wc -c </etc/services) + 1))", 0, ""},
    };
    for (const auto& c : cases) {
        const auto finished = bsh(c.words);
        EXPECT_EQ(finished.status, c.status) << c.words;
        EXPECT_EQ(finished.out, c.out) << c.words;
        EXPECT_EQ(finished.err, "") << c.words;
    }
}

TEST(Bsh, NamesTheFailureInOneLine) {
    const Running service;
    held = true;
    (void)bound_socket("bus_test_stale");
    const struct {
        const char *words, *err;
    } cases[] = {
        {"bus_test_nobody.m", "bsh: no service bus_test_nobody on the bus\n"},
        {"bus_test_stale.m", "bsh: bus_test_stale refused the connection\n"},
        {"bus_test.silent", "bsh: bus_test closed the connection without a reply\n"},
        {"bus_test.echo - </dev/zero", "bsh: the request to bus_test or its reply is above 1 MiB\n"},
        {"a/b.m", "bsh: cannot call a/b: Invalid argument\n"},
        {"bus_test.hold --timeout 1", "bsh: no reply from bus_test within 1 s\n"},
    };
    for (const auto& c : cases) {
        const auto finished = bsh(c.words);
        EXPECT_EQ(finished.status, 2) << c.words;
        EXPECT_EQ(finished.out, "") << c.words;
        EXPECT_EQ(finished.err, c.err);
    }
    held = false;
    for (const char* words : {"", "nopoint", ".method", "service.", "s.m {} more", "s.m --unknown", "s.m --timeout",
                              "s.m --timeout 0", "s.m --timeout 5s", "s.m --timeout 99999999999"}) {
        const auto finished = bsh(words);
        EXPECT_EQ(finished.status, 64) << words;
        EXPECT_TRUE(finished.err.starts_with("usage: bsh ")) << words;
    }
}

}  // namespace
}  // namespace bsvc::test
