#include "corvane/device/identity.h"

#include <gtest/gtest.h>

#include "common/error_code.h"
#include "support/files.h"
#include "support/trace_reader.h"

namespace harbex::corvane {
namespace {

using Lines = std::vector<std::string>;

constexpr char kPlatformConf[] = "/etc/platform.conf";
constexpr char kAgentConf[] = "/opt/harbex/etc/cloudagent/cloudagent.cfg";

TEST(ModelName, IsSetOrRecognised) {
    const struct {
        const char *name, *text;
        int result;
        const char* model;
    } cases[] = {
        {"set", "[MISC]\nDISPLAY_NAME = Model-A\nPlatform = X86_KVM\n", NO_ERROR, "Model-A"},
        {"virtual machine", "[MISC]\nx = y\nPlatform = X86_KVM\n", NO_ERROR, "Cirrane"},
        {"name empty", "[MISC]\nDISPLAY_NAME =\nOther Platform: X86_KVM2\n", NO_ERROR, "Cirrane"},
        {"on two lines", "Platform =\nX86_KVM\n", ERR_CMD_FAILED, ""},
    };
    for (const auto& c : cases) {
        test::write_text(kPlatformConf, c.text);
        std::string model = "before";
        EXPECT_EQ(get_nas_model_name(model), c.result) << c.name;
        EXPECT_EQ(model, c.model) << c.name;
    }
}

TEST(AgentFile, GivesTokenAndId) {
    const struct {
        const char *name, *text;
        int result;
        const char* token;
    } cases[] = {
        {"quoted", "A=1\nDEV_ID=\"d\"\nDEV_TOKEN=\"t0k\"\n", NO_ERROR, "t0k"},
        {"not quoted: first and last go all the same", "DEV_TOKEN=t0k\n", NO_ERROR, "0"},
        {"first of two", "DEV_TOKEN=\"a\"\nDEV_TOKEN=\"b\"\n", NO_ERROR, "a"},
        {"empty quotes", "DEV_TOKEN=\"\"\n", NO_ERROR, ""},
        {"another key", "DEV_TOKEN =\"t\"\n", ERR_CMD_FAILED, "before"},
    };
    for (const auto& c : cases) {
        test::write_text(kAgentConf, c.text);
        test::TraceReader log;
        std::string token = "before";
        EXPECT_EQ(get_device_token(token), c.result) << c.name;
        EXPECT_EQ(token, c.token) << c.name;
        const Lines expected = c.result == NO_ERROR ? Lines{std::string("INFO device_token: ") + c.token} : Lines{};
        EXPECT_EQ(log.lines(), expected) << c.name;
    }
    test::write_text(kAgentConf, "DEV_TOKEN=\"t\"\nDEV_ID=\"d1\"\n");
    test::TraceReader log;
    EXPECT_EQ(get_device_id(), "d1");
    EXPECT_EQ(log.lines(), Lines{"INFO device_id: d1"});
}

}  // namespace
}  // namespace harbex::corvane
