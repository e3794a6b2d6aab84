#include <fcntl.h>
#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "peers.h"
#include "support/run_program.h"

namespace bsvc::test {
namespace {

using harbex::test::Finished;
using harbex::test::run_program;

constexpr char kInput[] = "/tmp/bus_test_input";

void from_file() {
    dup2(open(kInput, O_RDONLY), STDIN_FILENO);
}

Finished bsh(std::vector<std::string> arguments, void (*prepare)() = nullptr) {
    arguments.insert(arguments.begin(), BSH_PROGRAM);
    return run_program(arguments, prepare);
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
        {"no code", {"bus_test.echo", R"({"data": 0})"}, 1, "{\"data\": 0}\n"},
        {"a code that is no integer", {"bus_test.echo", R"({"error": 0.0})"}, 1, "{\"error\": 0.0}\n"},
        {"no object", {"bus_test.echo", "[0]"}, 1, "[0]\n"},
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
    std::ofstream(kInput) << std::string(300'000, 'i');
    EXPECT_EQ(bsh({"bus_test.length", "-"}, from_file).out, "300000\n");
}

TEST(Bsh, NamesTheFailureInOneLine) {
    const Running service;
    held = true;
    leave_stale_socket("bus_test_stale");
    std::ofstream(kInput) << std::string(1'200'000, 'i');
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        const char* err;
    } cases[] = {
        {"nobody", {"bus_test_nobody.m"}, "bsh: no service bus_test_nobody on the bus\n"},
        {"stale", {"bus_test_stale.m"}, "bsh: bus_test_stale refused the connection\n"},
        {"no reply", {"bus_test.silent"}, "bsh: bus_test closed the connection without a reply\n"},
        {"large reply",
         {"bus_test.produce", "1048577"},
         "bsh: the request to bus_test or its reply is above 1 MiB\n"},
        {"large request", {"bus_test.echo", "-"}, "bsh: the request to bus_test or its reply is above 1 MiB\n"},
        {"no such name", {"a/b.m"}, "bsh: cannot call a/b: Invalid argument\n"},
        {"slow", {"bus_test.hold", "--timeout", "1"}, "bsh: no reply from bus_test within 1 s\n"},
    };
    for (const auto& c : cases) {
        const Finished finished = bsh(c.arguments, from_file);
        EXPECT_EQ(finished.status, 2) << c.name;
        EXPECT_EQ(finished.out, "") << c.name;
        EXPECT_EQ(finished.err, c.err) << c.name;
    }
    held = false;
    unlink(address_of("bus_test_stale").sun_path);
}

TEST(Bsh, RefusesWrongUse) {
    const std::vector<std::string> cases[] = {
        {},
        {"nopoint"},
        {".method"},
        {"service."},
        {"s.m", "{}", "more"},
        {"s.m", "--unknown"},
        {"s.m", "--timeout"},
        {"s.m", "--timeout", "0"},
        {"s.m", "--timeout", "-5"},
        {"s.m", "--timeout", "5s"},
        {"s.m", "--timeout", ""},
        {"s.m", "--timeout", "99999999999"},
    };
    for (const auto& arguments : cases) {
        const Finished finished = bsh(arguments);
        EXPECT_EQ(finished.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(finished.err.find("usage: bsh "), 0u) << testing::PrintToString(arguments);
    }
}

}  // namespace
}  // namespace bsvc::test
