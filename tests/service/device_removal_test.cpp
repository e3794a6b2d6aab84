#include "service/device_removal.h"

#include "edge_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kAgentScript = "/etc/init.d/corvane_cloudagent.sh";
constexpr const char* kExpressScript = "/etc/init.d/corvane_express.sh";
constexpr const char* kSupernodeFiles[] = {"/etc/ipsec.d/certs/supernode.pem", "/etc/config/harbex/supernode.json",
                                           "/etc/config/harbex/supernode_config.conf"};
constexpr const char* kParameters = "/var/run/cms_config/supernode.json";
constexpr const char* kScriptLog = "/var/log/scripts.log";

class DeviceRemoval : public EdgeNas {
protected:
    void TearDown() override {
        EXPECT_EQ(shell("appliance-service start corvane_expressd").status, 0);
        EdgeNas::TearDown();
    }

    // The scripts' arguments as the scripts saw them, one call a line.
    static std::string script_calls() {
        std::string calls = read_text(kScriptLog);
        std::filesystem::remove(kScriptLog);
        return calls;
    }
};

const std::vector<std::string> kHaltCalls{R"(SendSupernodeConfig {"data":{"superNodeId":""}})",
                                          R"(ClearIpsecConnections {"region":"supernode"})"};

TEST_F(DeviceRemoval, SupernodeHalts) {
    for (const char* file : kSupernodeFiles)
        write_text(file, "x");
    write_text(kParameters, "{}");
    const std::string reply = R"({"error":0,"data":""})";
    const std::vector<std::string> lines{
        "DEBUG Creating bs_auto_io for corvane_expressd.ClearIpsecConnections",
        "DEBUG bsh API: bsh corvane_expressd.SendSupernodeConfig {'data':{'superNodeId':''}}",
        "DEBUG Response: " + reply + " " + std::to_string(reply.size()),
        "DEBUG call bsh corvane_expressd.SendSupernodeConfig successfully",
        "DEBUG Creating bs_auto_io for corvane_expressd.ClearIpsecConnections",
        "DEBUG bsh API: bsh corvane_expressd.ClearIpsecConnections region=supernode",
        "DEBUG Response: " + reply + " " + std::to_string(reply.size()),
        "DEBUG call bsh corvane_expressd.ClearIpsecConnections successfully",
    };
    const Outcome first = call("Supernode_halt", "whatever");
    EXPECT_EQ(first.reply, success(R"("")"));
    EXPECT_EQ(first.lines, lines);
    EXPECT_EQ(edge_calls(), kHaltCalls);
    for (const char* file : kSupernodeFiles)
        EXPECT_FALSE(std::filesystem::exists(file)) << file;
    EXPECT_EQ(read_text(kParameters), "{}") << "stays";

    std::vector<std::string> without_files{"DEBUG Failed to delete supernode.pem",
                                           "DEBUG Failed to delete supernode.json",
                                           "DEBUG Failed to delete supernode_config.conf"};
    without_files.insert(without_files.end(), lines.begin(), lines.end());
    const Outcome second = call("Supernode_halt");
    EXPECT_EQ(second.reply, success(R"("")"));
    EXPECT_EQ(second.lines, without_files);
}

TEST_F(DeviceRemoval, SupernodeThatDoesNotHalt) {
    // With the calls that reach the daemon when its method answers, and wrongly.
    const std::pair<std::string, int> steps[] = {{"SendSupernodeConfig", 0}, {"ClearIpsecConnections", 1}};
    const std::pair<const char*, std::string> cases[] = {
        {"close", "Fail to execute corvane_expressd."},
        {"body:", "Failed to read response from corvane_expressd."},
        {R"(body:{"error":22,"data":"no"})", "Failed to check bsh response from corvane_expressd."},
    };
    for (const auto& [method, calls] : steps) {
        for (const auto& [failure, words] : cases) {
            const Fault fault("corvane_expressd." + method, failure);
            expect_call(failure, "Supernode_halt", "", refusal(1004, words + method), {words + method});
            EXPECT_EQ(edge_calls(), std::vector(kHaltCalls.begin(), kHaltCalls.begin() + calls));
        }
    }
}

TEST_F(DeviceRemoval, UnregistersFromTheCloud) {
    const auto fails = [&](const char* name, int code, const std::string& words, std::vector<std::string> errors) {
        errors.push_back(words);
        expect_call(name, "Device_unregister_from_nas", "", refusal(code, words), errors);
    };
    const Enrolled edge = enrol_device();
    set_setting(kBidConf, "bid_token_status", "already_join_corvane");
    // Everything is missing: each step's failure comes before those of the steps behind it.
    fails("no cloud token", 1019, "Failed to get cloud token", {"vellum_token is empty"});
    set_setting(kBidConf, "VELLUM_TOKEN", edge.account_token);
    fails("no organisation", 1017, "Failed to get org id", {});
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-0");
    (void)cloud_requests();
    fails("unknown organisation", 1018, "Failed to get corvane token",
          {"[corvane_api_edge_login] easycurl failed, err = 82"});
    EXPECT_EQ(cloud_requests().size(), 1U) << "only the login";
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-7f3a1c");
    const std::string not_deleted = "Failed to unregister device from NAS";
    fails("no device id: sent as it is", 1016, not_deleted, {});
    const auto requests = cloud_requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_TRUE(requests[1].starts_with("DELETE corvane-api.harbex.example/cvnms/bthings/api/v1/devices/\n"));

    write_text(install_path() + "/etc/cloudagent/cloudagent.cfg", edge.agent_configuration);
    const Outcome outcome = call("Device_unregister_from_nas", "whatever");
    EXPECT_EQ(outcome.reply, success(R"("{\"deviceId\":\")" + edge.device_id + R"(\",\"message\":\"deleted\"}")"));
    EXPECT_EQ(outcome.lines, (std::vector<std::string>{
                                 "DEBUG vellumToken obtained successfully",
                                 "DEBUG deviceId: " + edge.device_id,
                                 "DEBUG orgId: org-7f3a1c",
                                 "DEBUG corvane_token is not expired",
                                 "DEBUG corvaneToken obtained successfully",
                             }));
    EXPECT_EQ(setting(kBidConf, "bid_token_status"), "already_join_corvane") << "is not this method's";
    const Fault empty("cloud:/cvnms/bthings/api/v1/devices/*", "status:204");
    expect_call("empty answer", "Device_unregister_from_nas", "", success(R"("")"), {});
}

TEST_F(DeviceRemoval, CleansUpBehindTheCloud) {
    (void)script_calls();
    const std::string last = "DEBUG call harbex/corvane/device_remove_by_corvane successfully";
    const Outcome outcome = call("Device_remove_by_corvane", "whatever");
    EXPECT_EQ(outcome.reply, success(R"("")"));
    std::vector<std::string> lines = outcome.lines;
    if (lines.empty() || lines.back() != last) {  // logged behind the reply
        for (const std::string& line : log().lines_until(last))
            lines.push_back(line);
    }
    std::vector<std::string> expected;
    for (int step = 0; step < 3; step++) {
        expected.emplace_back("DEBUG Creating bs_auto_io for output in do_exec_safe");
        expected.emplace_back("DEBUG Creating bs_auto_io for err_output in do_exec_safe");
    }
    expected.push_back(last);
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(script_calls(),
              "corvane_cloudagent.sh remove_dummy_interface\n"
              "corvane_cloudagent.sh stop_and_remove_corvane_configs\n"
              "corvane_express.sh stop\n");
    EXPECT_NE(shell("appliance-service running corvane_expressd").status, 0);
}

TEST_F(DeviceRemoval, OnlyTheLastScriptDecides) {
    constexpr const char* kFails = "printf said; printf \"no $*\" >&2; exit 3";
    const std::vector<std::string> agent_errors{
        "Failed to execute cloudagent remove_dummy_interface. Output: no remove_dummy_interface. Continuing "
        "cleanup...",
        "Failed to execute cloudagent stop. Output: no stop_and_remove_corvane_configs. Continuing cleanup...",
    };
    const ReplacedTool agent(kAgentScript, kFails);
    (void)script_calls();
    expect_call("agent", "Device_remove_by_corvane", "", success(R"("")"), agent_errors);
    EXPECT_EQ(script_calls(), "corvane_express.sh stop\n");

    const ReplacedTool express(kExpressScript, kFails);
    std::vector<std::string> errors = agent_errors;
    errors.emplace_back("Failed to execute corvane_express stop. Output: no stop");
    errors.emplace_back("Failed to remove device by corvane");
    expect_call("edge daemon", "Device_remove_by_corvane", "", refusal(1010, "Failed to remove device by corvane"),
                errors);
}

}  // namespace
}  // namespace harbex::test
