// The edge daemon, the init scripts, the account tools and the cloud, as one system.
#include <gtest/gtest.h>

#include "cloud_client.h"
#include "support/files.h"

namespace harbex::test {
namespace {

constexpr const char* kConfiguration = "/etc/config/harbex/cloudagent.cfg";
constexpr const char* kLink = "/opt/harbex/etc/cloudagent/cloudagent.cfg";
const std::string kAgent = "/etc/init.d/corvane_cloudagent.sh ";

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
    void TearDown() override { shell(kAgent + "stop_and_remove_corvane_configs"); }
};

TEST_F(Edge, TunnelsFollowTheAgentAndTheCloud) {
    EXPECT_EQ(shell(kAgent + "start").status, 1) << "without a configuration";
    const Enrolled edge = enrol_device("auto");
    write_text(kConfiguration, edge.agent_configuration);
    std::filesystem::create_directories(std::filesystem::path(kLink).parent_path());
    std::filesystem::create_symlink(kConfiguration, kLink);
    ASSERT_EQ(shell(kAgent + "start").status, 0);
    EXPECT_EQ(ask("GetIpsecStatus"), R"({"router":{"hub-east-1":2},"supernode":{"supernode-1":2}})");
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
    ASSERT_EQ(shell("/etc/init.d/corvane_express.sh stop").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "call " + std::to_string(BS_CALL_NO_SERVICE));
    ASSERT_EQ(shell("/etc/init.d/corvane_express.sh start").status, 0);
    EXPECT_EQ(ask("GetCloudStatus"), "1") << "the agent still runs";

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

}  // namespace
}  // namespace harbex::test
