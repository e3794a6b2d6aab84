#include "corvane/device/agent.h"

#include <optional>

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
    void SetUp() override { begin(); }
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
    LogReader log;
    EXPECT_EQ(0, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ(std::string(kText) +
                  "MQTT_URL=\"tcp://message-broker-sy.harbex.example:31512\"\n"
                  "NMS_WEB_URL=\"http://management-web-sy.harbex.example:31510\"\n",
              read_text(kPersistent));
    EXPECT_EQ(std::string("INFO readBuffer_cloudagent_cfg ") + kResponse + "\nINFO cloudagentCfg " + kText +
                  "\nINFO cloudagent_cfg_path: /opt/harbex/etc/cloudagent/cloudagent.cfg\n"
                  "INFO Successfully wrote cloudagent_cfg_response to /etc/config/harbex/cloudagent.cfg\n"
                  "INFO Created symbolic link: /opt/harbex/etc/cloudagent/cloudagent.cfg -> "
                  "/etc/config/harbex/cloudagent.cfg",
              log.text());
}

TEST_F(AgentConfiguration, StopsAtTheStepThatFails) {
    const std::string cannot_link =
        std::string("Failed to create symbolic link from ") + kLink + " to " + kPersistent;
    const std::string no_json = "Failed to parse JSON response";
    const std::string text = kText;
    const struct {
        const char* response;
        void (*prepare)();
        int code;
        std::string written, error;
    } cases[] = {
        {kResponse, [] { write_text(kLink, "old"); }, 0, text, ""},
        {kResponse, [] { fs::create_symlink("/etc/hosts", kLink); }, 0, text, ""},
        {kResponse, [] { fs::create_symlink("/opt/nowhere", kLink); }, 0, text, ""},
        {kResponse, [] { write_text(std::string(kLink) + "/kept", "kept"); }, 31, text,
         std::string("Failed to remove existing symbolic link: ") + kLink},
        {kResponse, [] { fs::remove(fs::path(kLink).parent_path()); }, 31, text, cannot_link},
        {kResponse, [] { fs::create_directory(kPersistent); }, 31, "",
         std::string("Failed to open ") + kPersistent + " for writing"},
        {"{", [] {}, 49, "", no_json},
        {"[]", [] {}, 49, "", no_json},
        {R"({"cloudagentCfg":{"a":"b"}})", [] {}, 49, "", no_json},
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
    begin();
    const ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(60, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ("Failed to get install path", log.text("ERROR"));
}

TEST_F(AgentConfiguration, ScriptsGetOneWordAndTheAgentItsSite) {
    const struct {
        int (*run)();
        int result;
        const char *seen, *log;
    } cases[] = {
        {[] { return corvane::invoke_corvane_express("start; $(id)"); }, 3, "express 1 start; $(id)\n",
         "INFO invoke_corvane_express: start; $(id)\nERROR Failed to execute corvane_express.sh start; $(id)"},
        {corvane::remove_corvane_configs, 60, "agent 1 remove_corvane_configs\n",
         "INFO invoke_cloudagent: remove_corvane_configs\n"
         "ERROR Failed to execute corvane_cloudagent.sh remove_corvane_configs\n"
         "ERROR Failed to invoke cloudagent remove_corvane_configs"},
        {corvane::stop_corvane_services, 0, "express 1 stop\nagent 1 remove_dummy_interface\nagent 1 stop\n",
         "INFO invoke_corvane_express: stop\n"
         "ERROR Failed to execute corvane_express.sh stop\n"
         "ERROR Failed to invoke corvane_express stop, but continue to stop corvane services\n"
         "INFO invoke_cloudagent: remove_dummy_interface\n"
         "ERROR Failed to execute corvane_cloudagent.sh remove_dummy_interface\n"
         "ERROR Failed to invoke cloudagent remove_dummy_interface, but continue to stop corvane services\n"
         "INFO invoke_cloudagent: stop\n"
         "ERROR Failed to execute corvane_cloudagent.sh stop\n"
         "ERROR Failed to invoke cloudagent stop, but continue to stop corvane services"},
    };
    begin("Beta");
    const std::string end = " $# $*\" >>/tmp/scripts; exit 3";
    const ReplacedTool express("/etc/init.d/corvane_express.sh", "echo \"express" + end);
    const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", "echo \"agent" + end);
    for (const auto& c : cases) {
        fs::remove("/tmp/scripts");
        fs::remove(kSiteFile);
        LogReader log;
        EXPECT_EQ(c.result, c.run()) << c.log;
        EXPECT_EQ(c.seen, read_text("/tmp/scripts"));
        EXPECT_EQ(c.log, log.text());
        EXPECT_EQ(c.result == 3 ? "" : R"({"site": "Beta"})", read_text(kSiteFile)) << c.log;
    }
    begin("sy");
    EXPECT_EQ(0, corvane::set_site_use_by_cloudagent());
    EXPECT_EQ(R"({"site": "dev"})", read_text(kSiteFile));
    EXPECT_EQ(fs::perms(0644), fs::status(kSiteFile).permissions());
}

}  // namespace
}  // namespace harbex::test
