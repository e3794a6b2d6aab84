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

class AgentConfiguration : public testing::Test {
protected:
    static void begin(const std::string& site = "Production") {
        fs::remove_all(kPersistent);
        fs::remove_all(kLink);
        fs::create_directories(fs::path(kLink).parent_path());
        write_text(kCorvaneConf, "[Join Corvane]\ncorvane_site = " + site + "\n");
    }
};

TEST_F(AgentConfiguration, TheDevelopmentClusterAddsItsAddresses) {
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

TEST_F(AgentConfiguration, StopsAtTheStepThatFails) {
    const struct {
        const char* response;
        void (*prepare)();
        int code;
        std::string written, error;
    } cases[] = {
        {kResponse, [] { fs::create_symlink("/opt/nowhere", kLink); }, 0, kText, ""},
        {kResponse, [] { write_text(std::string(kLink) + "/kept", "kept"); }, 31, kText,
         std::string("Failed to remove existing symbolic link: ") + kLink},
        {kResponse, [] { fs::create_directory(kPersistent); }, 31, "",
         std::string("Failed to open ") + kPersistent + " for writing"},
        {R"({"cloudagentCfg":{"a":"b"}})", [] {}, 49, "", "Failed to parse JSON response"},
    };
    LogReader log;
    for (const auto& c : cases) {
        begin();
        c.prepare();
        EXPECT_EQ(c.code, corvane::write_corvane_api_devices_cloudagent_cfg(c.response)) << c.error;
        EXPECT_EQ(c.error, log.text("ERROR"));
        EXPECT_EQ(c.code == 0, fs::is_symlink(kLink) && fs::read_symlink(kLink) == kPersistent) << c.error;
        EXPECT_EQ(c.written, fs::is_directory(kPersistent) ? "" : read_text(kPersistent)) << c.error;
    }
}

TEST_F(AgentConfiguration, ScriptsGetOneWordAndTheAgentItsSite) {
    const struct {
        int (*run)();
        int result;
        const char *seen, *error;  // the last one
    } cases[] = {
        {[] { return corvane::invoke_corvane_express("start; $(id)"); }, 3, "express 1 start; $(id)\n",
         "Failed to execute corvane_express.sh start; $(id)"},
        {corvane::remove_corvane_configs, 60, "agent 1 remove_corvane_configs\n",
         "Failed to invoke cloudagent remove_corvane_configs"},
        {corvane::stop_corvane_services, 0, "express 1 stop\nagent 1 remove_dummy_interface\nagent 1 stop\n",
         "Failed to invoke cloudagent stop, but continue to stop corvane services"},
    };
    begin("Beta");
    const std::string end = " $# $*\" >>/tmp/scripts; exit 3";
    const ReplacedTool express("/etc/init.d/corvane_express.sh", "echo \"express" + end);
    const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", "echo \"agent" + end);
    for (const auto& c : cases) {
        fs::remove("/tmp/scripts");
        fs::remove(kSiteFile);
        LogReader log;
        EXPECT_EQ(c.result, c.run()) << c.error;
        EXPECT_EQ(c.seen, read_text("/tmp/scripts"));
        EXPECT_TRUE(log.text("ERROR").ends_with(c.error)) << c.error;
        EXPECT_EQ(c.result == 3 ? "" : R"({"site": "Beta"})", read_text(kSiteFile)) << c.error;
    }
}

}  // namespace
}  // namespace harbex::test
