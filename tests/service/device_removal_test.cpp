#include "service/device_removal.h"

#include "service_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kSupernodeFiles[] = {"/etc/ipsec.d/certs/supernode.pem", "/etc/config/harbex/supernode.json",
                                           "/etc/config/harbex/supernode_config.conf"};
constexpr const char* kScriptLog = "/var/log/scripts.log";

using DeviceRemoval = EdgeNas;

TEST_F(DeviceRemoval, SupernodeHalts) {
    for (const char* file : kSupernodeFiles)
        write_text(file, "x");
    const std::string send = "SendSupernodeConfig {\"data\":{\"superNodeId\":\"\"}}\n";
    const std::string clear = "ClearIpsecConnections {\"region\":\"supernode\"}\n";
    const auto step = [](const std::string& method, const std::string& arguments) {
        return "DEBUG Creating bs_auto_io for corvane_expressd.ClearIpsecConnections\nDEBUG bsh API: bsh "
               "corvane_expressd." +
               method + " " + arguments +
               "\nDEBUG Response: {\"error\":0,\"data\":\"\"} 21\nDEBUG call bsh corvane_expressd." + method +
               " successfully";
    };
    const std::string steps = step("SendSupernodeConfig", "{'data':{'superNodeId':''}}") + "\n" +
                              step("ClearIpsecConnections", "region=supernode");
    const Answer first = call("Supernode_halt", "whatever");
    EXPECT_EQ(first.reply + first.lines + edge_calls(), envelope(kSuccess, quoted("")) + steps + send + clear);
    for (const char* file : kSupernodeFiles)
        EXPECT_FALSE(std::filesystem::exists(file)) << file;
    const Answer second = call("Supernode_halt");
    EXPECT_EQ(second.reply + second.lines + edge_calls(),
              envelope(kSuccess, quoted("")) +
                  "DEBUG Failed to delete supernode.pem\nDEBUG Failed to delete supernode.json\n"
                  "DEBUG Failed to delete supernode_config.conf\n" +
                  steps + send + clear);

    for (const std::string method : {"SendSupernodeConfig", "ClearIpsecConnections"}) {
        const auto failure = [&](const std::string& how, const std::string& what) {
            return Row{how, 1004, what + " corvane_expressd." + method, what + " corvane_expressd." + method};
        };
        expect_faults("corvane_expressd." + method, "Supernode_halt", "",
                      {failure("body:", "Failed to read response from"), failure("close", "Fail to execute")});
        EXPECT_EQ(edge_calls(), method[0] == 'S' ? "" : send + send) << "nothing behind what failed";
    }
}

TEST_F(DeviceRemoval, UnregistersFromTheCloud) {
    const Enrolled edge = enrol_device();
    set_setting(kBidConf, "VELLUM_TOKEN", edge.account_token);
    set_setting(kBidConf, "bid_token_status", "already_join_corvane");
    (void)requests();
    const std::string not_deleted = "Failed to unregister device from NAS";
    expect_requests("Device_unregister_from_nas", {{"no device id", 1016, not_deleted, not_deleted}});
    EXPECT_EQ(requests(), "DELETE /cvnms/bthings/api/v1/devices/");
    write_text(kAgentLink, edge.agent_configuration);
    const Answer answer = call("Device_unregister_from_nas", "whatever");
    EXPECT_EQ(answer.reply,
              envelope(kSuccess, R"("{\"deviceId\":\")" + edge.device_id + R"(\",\"message\":\"deleted\"}")"));
    EXPECT_EQ(answer.lines, "DEBUG vellumToken obtained successfully\nDEBUG deviceId: " + edge.device_id +
                                "\nDEBUG orgId: org-7f3a1c\nDEBUG corvane_token is not expired\n"
                                "DEBUG corvaneToken obtained successfully");
    EXPECT_EQ(stored(kBidConf, "bid_token_status"), "already_join_corvane") << "is not this method's";
    // With more and more missing, the first step that fails tells.
    (void)requests();
    set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "0");
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-0");
    const std::string no_token = "Failed to get corvane token";
    expect_requests("Device_unregister_from_nas",
                    {{"", 1018, no_token, "[corvane_api_edge_login] easycurl failed, err = 82\n" + no_token}});
    EXPECT_EQ(requests(), "POST /cvnms/nmsuser/api/v1/edge/login");
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "");
    expect_requests("Device_unregister_from_nas", {{"", 1017, "Failed to get org id", "Failed to get org id"}});
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    const std::string no_account = "Failed to get cloud token";
    expect_requests("Device_unregister_from_nas", {{"", 1019, no_account, "vellum_token is empty\n" + no_account}});
}

TEST_F(DeviceRemoval, CleansUpBehindTheCloud) {
    std::filesystem::remove(kScriptLog);
    const std::string last = "DEBUG call harbex/corvane/device_remove_by_corvane successfully";
    const Answer answer = call("Device_remove_by_corvane", "whatever");
    EXPECT_EQ(answer.reply, envelope(kSuccess, quoted("")));
    std::vector<std::string> rest{last};  // logged behind the reply
    EXPECT_TRUE(answer.lines.ends_with(last) || wait_for_line(log(), last, rest));
    const std::string script =
        "DEBUG Creating bs_auto_io for output in do_exec_safe\nDEBUG Creating bs_auto_io for err_output in "
        "do_exec_safe\n";
    EXPECT_EQ(answer.lines.substr(0, 3 * script.size() - 1) + "\n", script + script + script);
    EXPECT_EQ(read_text(kScriptLog),
              "corvane_cloudagent.sh remove_dummy_interface\n"
              "corvane_cloudagent.sh stop_and_remove_corvane_configs\n"
              "corvane_express.sh stop\n");
    EXPECT_NE(shell("appliance-service running corvane_expressd").status, 0);

    constexpr const char* kFails = "printf said; printf \"no $*\" >&2; exit 3";
    const std::string agent_errors =
        "Failed to execute cloudagent remove_dummy_interface. Output: no remove_dummy_interface. Continuing "
        "cleanup...\n"
        "Failed to execute cloudagent stop. Output: no stop_and_remove_corvane_configs. Continuing cleanup...";
    const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", kFails);
    expect_call("Device_remove_by_corvane", "", {"agent", kSuccess, quoted(""), agent_errors});
    const ReplacedTool express("/etc/init.d/corvane_express.sh", kFails);
    const std::string words = "Failed to remove device by corvane";
    expect_call("Device_remove_by_corvane", "",
                {"edge daemon", 1010, words,
                 agent_errors + "\nFailed to execute corvane_express stop. Output: no stop\n" + words});
    EXPECT_EQ(shell("appliance-service start corvane_expressd").status, 0);
}

}  // namespace
}  // namespace harbex::test
