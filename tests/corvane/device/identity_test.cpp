#include "corvane/device/identity.h"

#include <gtest/gtest.h>

#include "common/error_code.h"
#include "corvane/device/settings.h"
#include "support/files.h"
#include "support/trace_reader.h"

namespace harbex::corvane {
namespace {

using Lines = std::vector<std::string>;

constexpr char kPlatformConf[] = "/etc/platform.conf";
constexpr char kAgentConf[] = "/opt/harbex/etc/cloudagent/cloudagent.cfg";

// Moves a file out of the way, or a directory into its place, until the end of the scope.
class Displaced {
public:
    enum class By { kNothing, kDirectory };
    Displaced(std::string path, By by) : path_(std::move(path)) {
        std::filesystem::rename(path_, path_ + ".displaced");
        if (by == By::kDirectory) std::filesystem::create_directory(path_);
    }
    ~Displaced() {
        std::filesystem::remove(path_);
        std::filesystem::rename(path_ + ".displaced", path_);
    }
    Displaced(const Displaced&) = delete;
    void operator=(const Displaced&) = delete;

private:
    std::string path_;
};

TEST(ModelName, IsSetOrRecognised) {
    const struct {
        const char* name;
        const char* text;
        int result;
        const char* model;
    } cases[] = {
        {"set", "[MISC]\nDISPLAY_NAME = Model-A\nPlatform = X86_KVM\n", NO_ERROR, "Model-A"},
        {"virtual machine", "[MISC]\nx = y\nPlatform = X86_KVM\n", NO_ERROR, "Cirrane"},
        {"name empty", "[MISC]\nDISPLAY_NAME =\nOther Platform: X86_KVM2\n", NO_ERROR, "Cirrane"},
        {"wrong order on the line", "X86_KVM = Platform\n", ERR_CMD_FAILED, ""},
        {"on two lines", "Platform =\nX86_KVM\n", ERR_CMD_FAILED, ""},
        {"name of another section", "[OTHER]\nDISPLAY_NAME = Model-A\n", ERR_CMD_FAILED, ""},
        {"nothing", "", ERR_CMD_FAILED, ""},
    };
    const Displaced kept(kPlatformConf, Displaced::By::kNothing);
    for (const auto& c : cases) {
        test::write_text(kPlatformConf, c.text);
        std::string model = "before";
        EXPECT_EQ(get_nas_model_name(model), c.result) << c.name;
        EXPECT_EQ(model, c.model) << c.name;
    }
    std::filesystem::remove(kPlatformConf);
    std::string model;
    EXPECT_EQ(get_nas_model_name(model), ERR_CMD_FAILED);
}

TEST(ModelName, IsRecognisedThoughTheToolFails) {
    const Displaced kept(kPlatformConf, Displaced::By::kNothing);
    test::write_text(kPlatformConf, "[MISC]\nDISPLAY_NAME = Model-A\nPlatform = X86_KVM\n");
    const test::ReplacedTool tool("/sbin/getcfg", "exit 1");
    test::TraceReader log;
    std::string model;
    EXPECT_EQ(get_nas_model_name(model), NO_ERROR);
    EXPECT_EQ(model, "Cirrane");
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(HostName, IsTheFirstLine) {
    const struct {
        const char* name;
        const char* text;
        const char* host;
    } cases[] = {
        {"one line", "nas\n", "nas"},
        {"two lines", "nas\nother\n", "nas"},
        {"no line end", "nas", "nas"},
        {"empty", "", ""},
    };
    {
        const Displaced kept("/etc/hostname", Displaced::By::kNothing);
        std::string host = "before";
        EXPECT_EQ(get_host_name(host), ERR_CMD_FAILED);
        EXPECT_EQ(host, "before");
        for (const auto& c : cases) {
            test::write_text("/etc/hostname", c.text);
            EXPECT_EQ(get_host_name(host), NO_ERROR) << c.name;
            EXPECT_EQ(host, c.host) << c.name;
        }
    }
    const Displaced directory("/etc/hostname", Displaced::By::kDirectory);
    std::string host = "before";
    EXPECT_EQ(get_host_name(host), ERR_CMD_FAILED);
    EXPECT_EQ(host, "before");
}

TEST(TimeZone, IsTheFirstLineAsItStands) {
    std::filesystem::remove("/etc/config/TZ");
    EXPECT_EQ(get_timezone(), "");
    test::write_text("/etc/config/TZ", " Asia/Taipei \nmore\n");
    EXPECT_EQ(get_timezone(), " Asia/Taipei ");
}

TEST(Contact, ComesFromTheAccount) {
    test::write_text(kBidConf, "[Brindle ID Service]\nDISPLAY_NAME = A. User\n");
    std::string contact;
    EXPECT_EQ(get_contact(contact), NO_ERROR);
    EXPECT_EQ(contact, "A. User");

    const test::ReplacedTool tool("/sbin/getcfg", "exit 1");
    test::TraceReader log;
    EXPECT_EQ(get_contact(contact), ERR_CMD_FAILED);
    EXPECT_EQ(log.lines(), Lines{"ERROR Failed to run getcfg_wrapper command"});
}

TEST(AgentFile, GivesTokenAndId) {
    const struct {
        const char* name;
        const char* text;
        int result;
        const char* token;
    } cases[] = {
        {"quoted", "A=1\nDEV_ID=\"d\"\nDEV_TOKEN=\"t0k\"\n", NO_ERROR, "t0k"},
        {"not quoted: first and last go all the same", "DEV_TOKEN=t0k\n", NO_ERROR, "0"},
        {"first of two", "DEV_TOKEN=\"a\"\nDEV_TOKEN=\"b\"\n", NO_ERROR, "a"},
        {"anywhere on the line", "# x=DEV_TOKEN=\"t\"\n", NO_ERROR, "EV_TOKEN=\"t"},
        {"no line end", "DEV_TOKEN=\"t\"", NO_ERROR, "t"},
        {"empty quotes", "DEV_TOKEN=\"\"\n", NO_ERROR, ""},
        {"one sign", "DEV_TOKEN=x\n", NO_ERROR, ""},
        {"no value", "DEV_TOKEN=\n", NO_ERROR, ""},
        {"another key", "DEV_TOKEN =\"t\"\n", ERR_CMD_FAILED, "before"},
        {"empty file", "", ERR_CMD_FAILED, "before"},
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

TEST(AgentFile, ThatCannotBeReadIsNamed) {
    std::filesystem::remove_all(kAgentConf);
    const Lines not_opened{std::string("ERROR Failed to open file ") + kAgentConf};
    test::TraceReader log;
    std::string token = "before";
    EXPECT_EQ(get_device_token(token), ERR_CMD_FAILED);
    EXPECT_EQ(log.lines(), not_opened);
    EXPECT_EQ(get_device_id(), "");
    EXPECT_EQ(log.lines(), not_opened);
    std::filesystem::create_directory(kAgentConf);
    EXPECT_EQ(get_device_token(token), ERR_CMD_FAILED);
    EXPECT_EQ(log.lines(), not_opened);
    std::filesystem::remove(kAgentConf);

    const test::ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(get_device_token(token), ERR_CMD_FAILED);
    // Once where the setting is read, once where it was needed.
    EXPECT_EQ(log.lines(), (Lines{"ERROR Failed to get install path", "ERROR Failed to get install path"}));
    EXPECT_EQ(token, "before");
}

}  // namespace
}  // namespace harbex::corvane
