#include "corvane/device/agent.h"

#include "common/settings_files.h"
#include "corvane/device/agent_configuration.h"
#include "corvane/device/edge_scripts.h"
#include "support/rows.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPersistent = "/etc/config/harbex/cloudagent.cfg";
constexpr const char* kLink = "/opt/harbex/etc/cloudagent/cloudagent.cfg";
constexpr const char* kSiteFile = "/opt/harbex/etc/system/system_setting.json";
constexpr const char* kResponse = R"({"cloudagentCfg":"DEV_ID=\"7\"\nDEV_TOKEN=\"ü%s\"","other":1})";
constexpr const char* kText = "DEV_ID=\"7\"\nDEV_TOKEN=\"ü%s\"";

void begin(const std::string& site) {
    fs::remove_all(kPersistent);
    fs::remove_all(kLink);
    write_text(system::kCorvaneConf, "[Join Corvane]\ncorvane_site = " + site + "\n");
}

TEST(AgentConfiguration, TheDevelopmentClusterAddsItsAddresses) {
    begin("SY");
    EXPECT_EQ(0, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ(kText, read_text(kPersistent)) << "another site";
    begin("sy");
    EXPECT_EQ(0, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ(std::string(kText) +
                  "MQTT_URL=\"tcp://message-broker-sy.harbex.example:31512\"\n"
                  "NMS_WEB_URL=\"http://management-web-sy.harbex.example:31510\"\n",
              read_text(kPersistent));
    EXPECT_EQ(0, corvane::set_site_use_by_cloudagent());
    EXPECT_EQ(R"({"site": "dev"})", read_text(kSiteFile));
    EXPECT_EQ(fs::perms(0644), fs::status(kSiteFile).permissions());
}

TEST(AgentConfiguration, StopsAtTheStepThatFails) {
    const std::pair<void (*)(), int> cases[] = {
        {[] { fs::create_symlink("/opt/nowhere", kLink); }, 0},
        {[] { write_text(std::string(kLink) + "/kept", "kept"); }, 31},
        {[] { fs::create_directory(kPersistent); }, 31},
    };
    for (const auto& [prepare, code] : cases) {
        begin("Production");
        prepare();
        EXPECT_EQ(code, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
        EXPECT_EQ(code == 0, fs::is_symlink(kLink) && fs::read_symlink(kLink) == kPersistent);
    }
    EXPECT_EQ(49, corvane::write_corvane_api_devices_cloudagent_cfg(R"({"cloudagentCfg":{"a":"b"}})"));
}

TEST(AgentConfiguration, ScriptsGetOneWordAndTheAgentItsSite) {
    const struct {
        int (*run)();
        int result;
        const char* seen;
    } cases[] = {
        {[] { return corvane::invoke_corvane_express("start; $(id)"); }, 3, "express 1 start; $(id)\n"},
        {corvane::remove_corvane_configs, 60, "agent 1 remove_corvane_configs\n"},
        {corvane::stop_corvane_services, 0, "express 1 stop\nagent 1 remove_dummy_interface\nagent 1 stop\n"},
    };
    begin("Beta");
    const std::string end = " $# $*\" >>/tmp/scripts; exit 3";
    const ReplacedTool express("/etc/init.d/corvane_express.sh", "echo \"express" + end);
    const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", "echo \"agent" + end);
    for (const auto& c : cases) {
        fs::remove("/tmp/scripts");
        fs::remove(kSiteFile);
        EXPECT_EQ(c.result, c.run()) << c.seen;
        EXPECT_EQ(c.seen, read_text("/tmp/scripts"));
        EXPECT_EQ(c.result == 3 ? "" : R"({"site": "Beta"})", read_text(kSiteFile)) << c.seen;
    }
}

}  // namespace
}  // namespace harbex::test
