#include "corvane/device/agent.h"

#include "common/error_code.h"
#include "common/settings_files.h"
#include "support/files.h"
#include "support/reply_rows.h"

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
    void SetUp() override {
        fs::remove_all(kPersistent);
        fs::remove_all(kLink);
        set_site("Production");
    }
    static void set_site(const std::string& site) {
        write_text(kCorvaneConf, "[Join Corvane]\ncorvane_site = " + site + "\n");
    }
};

TEST_F(AgentConfiguration, TheDevelopmentClusterAddsItsAddresses) {
    set_site("SY");
    EXPECT_EQ(NO_ERROR, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ(kText, read_text(kPersistent)) << "another site";
    set_site("sy");
    TraceReader log;
    EXPECT_EQ(NO_ERROR, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ(std::string(kText) +
                  "MQTT_URL=\"tcp://message-broker-sy.harbex.example:31512\"\n"
                  "NMS_WEB_URL=\"http://management-web-sy.harbex.example:31510\"\n",
              read_text(kPersistent));
    EXPECT_EQ(std::string("INFO readBuffer_cloudagent_cfg ") + kResponse + "\nINFO cloudagentCfg " + kText +
                  "\nINFO cloudagent_cfg_path: /opt/harbex/etc/cloudagent/cloudagent.cfg\n"
                  "INFO Successfully wrote cloudagent_cfg_response to /etc/config/harbex/cloudagent.cfg\n"
                  "INFO Created symbolic link: /opt/harbex/etc/cloudagent/cloudagent.cfg -> "
                  "/etc/config/harbex/cloudagent.cfg",
              lines_of(log));
}

TEST_F(AgentConfiguration, WhateverStandsAtTheLinkGivesWay) {
    const std::string cannot_link = std::string("Failed to create symbolic link from ") + kLink + " to ";
    write_text("/opt/elsewhere", "elsewhere");
    const struct {
        const char* name;
        void (*prepare)();
        std::string error;
    } cases[] = {
        {"ordinary file", [] { write_text(kLink, "old"); }, ""},
        {"link elsewhere", [] { fs::create_symlink("/opt/elsewhere", kLink); }, ""},
        {"dangling link", [] { fs::create_symlink("/opt/nowhere", kLink); }, ""},
        {"directory with contents", [] { write_text(std::string(kLink) + "/kept", "kept"); },
         std::string("Failed to remove existing symbolic link: ") + kLink},
        {"no place for a link", [] { fs::remove(fs::path(kLink).parent_path()); }, cannot_link + kPersistent},
    };
    for (const auto& c : cases) {
        fs::remove_all(kLink);
        fs::remove(kPersistent);
        c.prepare();
        TraceReader log;
        const int result = corvane::write_corvane_api_devices_cloudagent_cfg(kResponse);
        EXPECT_EQ(c.error, lines_of(log, "ERROR")) << c.name;
        EXPECT_EQ(c.error.empty() ? NO_ERROR : ERR_SAVE_FILE, result) << c.name;
        EXPECT_EQ(c.error.empty(), fs::is_symlink(kLink) && fs::read_symlink(kLink) == kPersistent) << c.name;
        EXPECT_EQ(kText, read_text(kPersistent)) << c.name;
        fs::create_directories(fs::path(kLink).parent_path());
    }
    EXPECT_EQ("elsewhere", read_text("/opt/elsewhere"));
}

TEST_F(AgentConfiguration, FailuresStopAtTheirStep) {
    TraceReader log;
    for (const char* response : {"{", "[]", R"({"cloudagentCfg":{"a":"b"}})"}) {
        EXPECT_EQ(ERR_WRONG_JSON_FORMAT, corvane::write_corvane_api_devices_cloudagent_cfg(response)) << response;
        EXPECT_EQ("Failed to parse JSON response", lines_of(log, "ERROR")) << response;
    }
    {
        const ReplacedTool tool("/sbin/getcfg", "exit 1");
        EXPECT_EQ(ERR_CMD_FAILED, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
        EXPECT_EQ("Failed to get install path", lines_of(log, "ERROR"));
    }
    EXPECT_FALSE(fs::exists(kPersistent));
    fs::create_directory(kPersistent);
    EXPECT_EQ(ERR_SAVE_FILE, corvane::write_corvane_api_devices_cloudagent_cfg(kResponse));
    EXPECT_EQ("Failed to open /etc/config/harbex/cloudagent.cfg for writing", lines_of(log, "ERROR"));
    EXPECT_FALSE(fs::is_symlink(kLink));
}

TEST_F(AgentConfiguration, ScriptsGetOneWordAndTheAgentItsSite) {
    const struct {
        int (*run)();
        const char* status;  // of both scripts
        int result;
        const char *seen, *log;
    } cases[] = {
        {[] { return corvane::invoke_corvane_express("start; $(id)"); }, "3", 3, "express 1 start; $(id)\n",
         "INFO invoke_corvane_express: start; $(id)\nERROR Failed to execute corvane_express.sh start; $(id)"},
        {corvane::remove_corvane_configs, "1", 60, "agent 1 remove_corvane_configs\n",
         "INFO invoke_cloudagent: remove_corvane_configs\n"
         "ERROR Failed to execute corvane_cloudagent.sh remove_corvane_configs\n"
         "ERROR Failed to invoke cloudagent remove_corvane_configs"},
        {corvane::stop_corvane_services, "1", 0, "express 1 stop\nagent 1 remove_dummy_interface\nagent 1 stop\n",
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
    set_site("Beta");
    for (const auto& c : cases) {
        fs::remove("/tmp/scripts");
        fs::remove(kSiteFile);
        const std::string end = " $# $*\" >>/tmp/scripts; exit " + std::string(c.status);
        const ReplacedTool express("/etc/init.d/corvane_express.sh", "echo \"express" + end);
        const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", "echo \"agent" + end);
        TraceReader log;
        EXPECT_EQ(c.result, c.run()) << c.log;
        EXPECT_EQ(c.seen, read_text("/tmp/scripts"));
        EXPECT_EQ(c.log, lines_of(log));
        EXPECT_EQ(c.result == 3 ? "" : R"({"site": "Beta"})", read_text(kSiteFile)) << c.log;
    }
    set_site("sy");
    EXPECT_EQ(NO_ERROR, corvane::set_site_use_by_cloudagent());
    EXPECT_EQ(R"({"site": "dev"})", read_text(kSiteFile));
}

}  // namespace
}  // namespace harbex::test
