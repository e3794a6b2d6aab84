#include "peers.h"

namespace bsvc::test {
namespace {

TEST(Bsh, PrintsRepliesJudgesTheirEnvelopeAndNamesFailures) {
    const Running service;
    held = true;
    (void)bound_socket("bus_test_stale");
    const struct {
        const char* words;
        int status;
        const char *out, *err;
    } cases[] = {
        {R"(bus_test.echo '{"error": 0, "data": 1}')", 0, "{\"error\": 0, \"data\": 1}\n", ""},
        {R"(bus_test.echo '{"error": 0.0}')", 1, "{\"error\": 0.0}\n", ""},
        {R"(--timeout 9 bus_test.api.v1.get --timeout=8 '{"error":0}')", 0, "{\"error\":0}\n", ""},
        {"bus_test.echo", 1, "\n", ""},
        {"bus_test_nobody.m", 2, "", "bsh: no service bus_test_nobody on the bus\n"},
        {"bus/test.m", 2, "", "bsh: cannot call bus/test: Invalid argument\n"},
        {"bus_test_stale.m", 2, "", "bsh: bus_test_stale refused the connection\n"},
        {"bus_test.silent", 2, "", "bsh: bus_test closed the connection without a reply\n"},
        {"bus_test.echo - </dev/zero", 2, "", "bsh: the request to bus_test or its reply is above 1 MiB\n"},
        {"bus_test.hold --timeout 1", 2, "", "bsh: no reply from bus_test within 1 s\n"},
        {"nopoint 2>/dev/null", 64, "", ""},
        {"s.m --timeout 0 2>/dev/null", 64, "", ""},
    };
    for (const auto& c : cases) {
        const auto finished = run_program({"/bin/sh", "-c", BSH_PROGRAM + (" " + std::string(c.words))});
        EXPECT_EQ(finished.status, c.status) << c.words;
        EXPECT_EQ(finished.out, c.out) << c.words;
        EXPECT_EQ(finished.err, c.err) << c.words;
    }
    held = false;
}

}  // namespace
}  // namespace bsvc::test
