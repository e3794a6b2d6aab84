#include <gtest/gtest.h>

#include <vector>

#include "peers.h"
#include "support/run_program.h"

namespace bsvc::test {
namespace {

using harbex::test::Finished;
using harbex::test::run_program;

Finished bsh(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), BSH_PROGRAM);
    return run_program(arguments);
}

Finished bsh_line(const std::string& words) {
    return run_program({"/bin/sh", "-c", BSH_PROGRAM " " + words});
}

TEST(Bsh, PrintsRepliesAndJudgesTheirEnvelope) {
    const Running service;
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        const char* out;
    } cases[] = {
        {"accepted", {"bus_test.echo", R"({"error": 0, "data": 1})"}, 0, "{\"error\": 0, \"data\": 1}\n"},
        {"another code", {"bus_test.echo", R"({"error": -2})"}, 1, "{\"error\": -2}\n"},
        {"a code that is no integer", {"bus_test.echo", R"({"error": 0.0})"}, 1, "{\"error\": 0.0}\n"},
        {"no JSON", {"bus_test.echo", "it's $(plain) \"text\""}, 1, "it's $(plain) \"text\"\n"},
        {"empty", {"bus_test.echo"}, 1, "\n"},
        {"method with points", {"bus_test.api.v1.get", R"({"error":0})"}, 0, "{\"error\":0}\n"},
        {"options around",
         {"--timeout", "9", "bus_test.echo", "--timeout=8", R"({"error":0})"},
         0,
         "{\"error\":0}\n"},
        {"body like an option", {"bus_test.echo", "--", "--timeout"}, 1, "--timeout\n"},
    };
    for (const auto& c : cases) {
        const Finished finished = bsh(c.arguments);
        EXPECT_EQ(finished.status, c.status) << c.name;
        EXPECT_EQ(finished.out, c.out) << c.name;
        EXPECT_EQ(finished.err, "") << c.name;
    }
    EXPECT_EQ(run_program({"/bin/sh", "-c", "head -c 300000 /dev/zero | " BSH_PROGRAM " bus_test.length -"}).out,
              "300000\n");
}

TEST(Bsh, NamesTheFailureInOneLine) {
    const Running service;
    held = true;
    leave_stale_socket("bus_test_stale");
    const struct {
        const char *words, *err;
    } cases[] = {
        {"bus_test_nobody.m", "bsh: no service bus_test_nobody on the bus\n"},
        {"bus_test_stale.m", "bsh: bus_test_stale refused the connection\n"},
        {"bus_test.silent", "bsh: bus_test closed the connection without a reply\n"},
        {"bus_test.produce 1048577", "bsh: the request to bus_test or its reply is above 1 MiB\n"},
        {"bus_test.echo - </dev/zero", "bsh: the request to bus_test or its reply is above 1 MiB\n"},
        {"a/b.m", "bsh: cannot call a/b: Invalid argument\n"},
        {"bus_test.hold --timeout 1", "bsh: no reply from bus_test within 1 s\n"},
    };
    for (const auto& c : cases) {
        const Finished finished = bsh_line(c.words);
        EXPECT_EQ(finished.status, 2) << c.words;
        EXPECT_EQ(finished.out, "") << c.words;
        EXPECT_EQ(finished.err, c.err);
    }
    held = false;
    unlink(address_of("bus_test_stale").sun_path);
}

TEST(Bsh, RefusesWrongUse) {
    for (const char* words : {"", "nopoint", ".method", "service.", "s.m {} more", "s.m --unknown", "s.m --timeout",
                              "s.m --timeout 0", "s.m --timeout 5s", "s.m --timeout 99999999999"}) {
        const Finished finished = bsh_line(words);
        EXPECT_EQ(finished.status, 64) << words;
        EXPECT_EQ(finished.err.find("usage: bsh "), 0u) << words;
    }
}

}  // namespace
}  // namespace bsvc::test
