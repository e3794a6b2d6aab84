// The edge daemon, the init scripts, the account tools and the cloud, as one system.
#include <gtest/gtest.h>

#include <filesystem>

#include "cloud_client.h"
#include "support/files.h"

namespace harbex::test {
namespace {

constexpr const char* kConfiguration = "/etc/config/harbex/cloudagent.cfg";
constexpr const char* kLink = "/opt/harbex/etc/cloudagent/cloudagent.cfg";
const std::string kAgent = "/etc/init.d/corvane_cloudagent.sh ";
const std::string kExpress = "/etc/init.d/corvane_express.sh ";

// The reply's "data" as compact JSON; what went wrong instead of it.
std::string ask(const std::string& method, const std::string& body = "") {
    const BusReply reply = bus_call("corvane_expressd", method, body);
    if (reply.result != BS_CALL_OK) return "call " + std::to_string(reply.result);
    if (reply.error() != 0) return "error " + std::to_string(reply.error());
    const std::unique_ptr<char, decltype(&free)> text(json_dumps(reply.data(), JSON_COMPACT | JSON_ENCODE_ANY),
                                                      &free);
    return text.get();
}

class Edge : public testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(shell("appliance-service start corvane_expressd && appliance-service start cloud").status, 0);
    }
    void SetUp() override { std::filesystem::remove("/var/log/scripts.log"); }
    void TearDown() override { shell(kAgent + "stop_and_remove_corvane_configs"); }

    Enrolled join(const std::string& region) {
        Enrolled edge = enrol_device(region);
        write_text(kConfiguration, edge.agent_configuration);
        std::filesystem::create_directories(std::filesystem::path(kLink).parent_path());
        std::filesystem::create_symlink(kConfiguration, kLink);
        return edge;
    }
};

TEST_F(Edge, AnswersAsAFactoryNewOne) {
    const struct {
        const char* method;
        const char* request;
        const char* reply;
    } cases[] = {
        {"GetGeoInfo", "", R"({"latitude":25.032969999999999,"longitude":121.56542,"public_ip":"203.0.113.77"})"},
        {"GetCloudStatus", "", "0"},
        {"GetIpsecStatus", "", R"({"router":{},"supernode":{}})"},
        {"GetDeviceToken", "", "error 2"},
        {"GetHubInfo", "", "error 22"},
        {"GetHubInfo", "{}", "error 22"},
        {"GetHubInfo", R"({"bdevice_token":"x"})", "error 22"},
        {"UpdateNetworkInterfaces", "", R"("")"},
        {"ClearIpsecConnections", R"({"region":"moon"})", "error 22"},
        {"SendSupernodeConfig", R"({"superNodeId":""})", "error 22"},
        {"GetSupernodeDevices", "", R"([{"deviceId":"dev-000001","deviceName":"harbex-nas","usage":10737418240}])"},
        {"FlyAway", "", "error 2"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ask(c.method, c.request), c.reply) << c.method << " " << c.request;
    const BusReply usage = bus_call("corvane_expressd", "GetSupernodeRemaining");
    for (const char* key : {"remainingThroughput", "throughputCapacity", "renewalDate", "lastBillingDate"})
        EXPECT_TRUE(json_is_integer(json_object_get(usage.data(), key))) << key;
    EXPECT_TRUE(json_is_array(bus_call("corvane_expressd", "SupernodeRecentBillingDailyTraffic").data()));
}

TEST_F(Edge, TunnelsFollowTheAgentAndTheCloud) {
    EXPECT_EQ(shell(kAgent + "start").status, 1) << "without a configuration";
    const Enrolled edge = join("auto");
    ASSERT_EQ(shell(kAgent + "start").status, 0);
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{"hub-east-1":2},"supernode":{"supernode-1":2}})");
    EXPECT_EQ(ask("GetCloudStatus"), "1");
    const std::string token = ask("GetDeviceToken");
    const JsonOwner hub =
        parse(bus_call("corvane_expressd", "GetHubInfo", R"({"bdevice_token":)" + token + "}").member("data"));
    EXPECT_EQ(at(hub.get(), {"router_region", "device_name"}), "hub-east-1");
    EXPECT_EQ(at(hub.get(), {"router_region", "public_ip"}), "198.51.100.21");
    EXPECT_EQ(at(hub.get(), {"supernode_region", "public_ip"}), "198.51.100.99");

    EXPECT_EQ(ask("ClearIpsecConnections", R"({"region":"supernode"})"), R"("")");
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{"hub-east-1":2},"supernode":{}})");
    EXPECT_EQ(shell(kAgent + "stop").status, 0);
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{},"supernode":{}})");
    EXPECT_EQ(shell(kAgent + "start").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "1");

    // A device of another name is nothing to this NAS; its own is.
    EXPECT_EQ(shell("cloudctl delete-device dev-0").status, 1);
    EXPECT_EQ(ask("GetCloudStatus"), "1");
    const Exchange deleted =
        send_request({"DELETE",
                      device_url(edge.device_id),
                      {kJsonType, "Authorization: " + edge.corvane_token, "vellumToken: " + edge.account_token},
                      ""});
    EXPECT_EQ(deleted.status, 200);
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{},"supernode":{}})");
    EXPECT_EQ(ask("GetCloudStatus"), "0");
    // The agent of a deleted device runs, and stays unconnected.
    EXPECT_EQ(shell(kAgent + "restart").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "0");

    EXPECT_EQ(shell(kAgent + "stop_and_remove_corvane_configs").status, 0);
    EXPECT_FALSE(std::filesystem::exists(kConfiguration));
    EXPECT_FALSE(std::filesystem::is_symlink(kLink));
    EXPECT_EQ(ask("GetDeviceToken"), "error 2");
}

TEST_F(Edge, StoppedDaemonLeavesTheBus) {
    join("supn");
    ASSERT_EQ(shell(kAgent + "start").status, 0);
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{},"supernode":{"supernode-1":2}})");
    ASSERT_EQ(shell("fault corvane_expressd.GetCloudStatus 'body:{\"error\":0,\"data\":9}'").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "9");
    ASSERT_EQ(shell(kExpress + "stop").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "call " + std::to_string(BS_CALL_NO_SERVICE));
    ASSERT_EQ(shell(kExpress + "start").status, 0);
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{},"supernode":{"supernode-1":2}})") << "the agent still runs";
    EXPECT_EQ(ask("GetCloudStatus"), "9") << "the fault is still there";
    ASSERT_EQ(shell("fault corvane_expressd.GetCloudStatus none").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "1");
}

TEST_F(Edge, SuperNodeAndVirtualInterface) {
    const auto state = [](const char* filter) { return shell(std::string("edge_state show | jq -c ") + filter).out; };
    EXPECT_EQ(ask("SendSupernodeConfig", R"({"data":{"superNodeId":"sn-1","remoteIP":"198.51.100.99"}})"), R"("")");
    EXPECT_EQ(state(".supernode_config.superNodeId"), "\"sn-1\"\n");
    EXPECT_EQ(ask("SendSupernodeConfig", R"({"data":{"superNodeId":""}})"), R"("")");
    EXPECT_EQ(state(".supernode_config"), "null\n");
    shell("setcfg 'Join Corvane' virtual_ip 10.8.0.99 -f /etc/config/harbex/corvane.conf");
    EXPECT_EQ(ask("ResetVirtualInterface"), R"("")");
    EXPECT_EQ(state(".virtual_interface"), "\"10.8.0.99\"\n");
    EXPECT_EQ(shell("edge_state change '[]'").status, 64);
}

TEST_F(Edge, ToolsActAndRecord) {
    const std::string token = sign_in();
    const struct {
        std::string command;
        int status;
        const char* output;
    } cases[] = {
        {"/sbin/get_hwsn", 0, "Q263B00417\n"},
        {"vellum_cli -x 13 -e", 0, "203.0.113.77\n"},
        {"vellum_cli -g", 0,
         R"({"result":{"latitude":25.03297,"longitude":121.56542,"country_code":"TW"}})"
         "\n"},
        {"vellum_cli -g 203.0.113.77", 0,
         R"({"result":{"latitude":25.03297,"longitude":121.56542,"country_code":"TW"}})"
         "\n"},
        {"vellum_cli -g a b", 64, ""},
        {"/etc/init.d/vpn_common.sh kick_all_connection 8192 ''", 0, ""},
        {"/etc/init.d/vpn_common.sh dance 1 2", 64, ""},
        {"/usr/sbin/verify_ovpn.sh /nowhere 'a b'", 1, ""},
        {kExpress + "dance", 64, ""},
        {kAgent + "remove_dummy_interface", 0, ""},
        {"vellum_organization_tool get_organization_site_list -o org-7f3a1c -a " + token, 0,
         R"({"result":[{"organization_site_id":"site-29b0e4"}]})"
         "\n"},
        {"vellum_organization_tool get_organization_site_list -a " + token + " -o org-0", 1, ""},
        {"vellum_organization_tool get_organization_site_list -o org-7f3a1c -a x", 1, ""},
        {"vellum_organization_tool get_organization_site_list -o org-7f3a1c", 64, ""},
    };
    for (const auto& c : cases) {
        const Finished finished = shell(c.command);
        EXPECT_EQ(finished.status, c.status) << c.command << ": " << finished.err;
        EXPECT_EQ(finished.out, c.output) << c.command;
    }
    EXPECT_EQ(read_text("/var/log/scripts.log"),
              "get_hwsn\nvellum_cli -x 13 -e\nvellum_cli -g\nvellum_cli -g 203.0.113.77\nvellum_cli -g a b\n"
              "vpn_common.sh kick_all_connection 8192 ''\nvpn_common.sh dance 1 2\n"
              "verify_ovpn.sh /nowhere a\\ b\ncorvane_express.sh dance\n"
              "corvane_cloudagent.sh remove_dummy_interface\n");
    // What the position is set to is what tool and daemon tell.
    shell(R"(edge_state change '{"geo": {"country_code": "CN", "latitude": 1.5}}')");
    EXPECT_EQ(shell("vellum_cli -g | jq -c '[.result.country_code, .result.latitude]'").out, "[\"CN\",1.5]\n");
    EXPECT_EQ(ask("GetGeoInfo"), R"({"latitude":1.5,"longitude":121.56542,"public_ip":"203.0.113.77"})");
    shell(R"(edge_state change '{"geo": null}')");
    EXPECT_EQ(shell("vellum_cli -g").status, 1);
    EXPECT_EQ(shell("vellum_cli -x 13 -e").status, 1);
    EXPECT_EQ(ask("GetGeoInfo"), "error 2");
}

}  // namespace
}  // namespace harbex::test
