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
    EXPECT_TRUE(call("Supernode_halt").lines.starts_with("DEBUG Failed to delete supernode.pem\n"));
    (void)edge_calls();
    const std::string unread = "Failed to read response from corvane_expressd.SendSupernodeConfig";
    expect_faults("corvane_expressd.SendSupernodeConfig", "Supernode_halt", "", {{"body:", 1004, unread, unread}});
    EXPECT_EQ(edge_calls(), "") << "nothing behind what failed";
}

TEST_F(DeviceRemoval, UnregistersFromTheCloud) {
    const std::string id = enrol(), agent = read_text(kAgentLink);
    std::filesystem::remove(kAgentLink);
    const std::string not_deleted = "Failed to unregister device from NAS";
    expect_requests("Device_unregister_from_nas", {{"no device id", 1016, not_deleted, not_deleted}});
    EXPECT_EQ(requests(), "DELETE /cvnms/bthings/api/v1/devices/");
    write_text(kAgentLink, agent);
    const Answer answer = call("Device_unregister_from_nas", "whatever");
    EXPECT_EQ(answer.reply, envelope(kSuccess, R"("{\"deviceId\":\")" + id + R"(\",\"message\":\"deleted\"}")"));
    EXPECT_EQ(answer.lines, "DEBUG vellumToken obtained successfully\nDEBUG deviceId: " + id +
                                "\nDEBUG orgId: org-7f3a1c\nDEBUG corvane_token is not expired\n"
                                "DEBUG corvaneToken obtained successfully");
    set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "0");
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-0");
    const std::string no_token = "Failed to get corvane token";
    expect_requests("Device_unregister_from_nas",
                    {{"", 1018, no_token, "[corvane_api_edge_login] easycurl failed, err = 82\n" + no_token}});
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
    EXPECT_TRUE(answer.lines.starts_with("DEBUG Creating bs_auto_io for output in do_exec_safe\n"));
    EXPECT_EQ(read_text(kScriptLog),
              "corvane_cloudagent.sh remove_dummy_interface\n"
              "corvane_cloudagent.sh stop_and_remove_corvane_configs\n"
              "corvane_express.sh stop\n");
    EXPECT_NE(shell("appliance-service running corvane_expressd").status, 0);

    constexpr const char* kFails = "printf said; printf \"no $*\" >&2; exit 3";
    const std::string words = "Failed to remove device by corvane";
    const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", kFails);
    EXPECT_EQ(call("Device_remove_by_corvane").reply, envelope(kSuccess, quoted(""))) << "the agent decides nothing";
    const ReplacedTool express("/etc/init.d/corvane_express.sh", kFails);
    expect_call("Device_remove_by_corvane", "",
                {"edge daemon", 1010, words,
                 "Failed to execute cloudagent remove_dummy_interface. Output: no remove_dummy_interface. Continuing "
                 "cleanup...\nFailed to execute cloudagent stop. Output: no stop_and_remove_corvane_configs. "
                 "Continuing cleanup...\nFailed to execute corvane_express stop. Output: no stop\n" +
                     words});
    EXPECT_EQ(shell("appliance-service start corvane_expressd").status, 0);
}

}  // namespace
}  // namespace harbex::test
