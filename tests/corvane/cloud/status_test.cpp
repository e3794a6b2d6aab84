#include "corvane/cloud/status.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

using Status = SignedInNas;

std::string status() {
    return on_document(corvane::get_corvane_status).text();
}

std::string document(const std::string& numbers, const std::string& router, const std::string& supernode,
                     const std::string& address, const std::string& missing) {
    return R"(0 {"cloud_status":)" + numbers.substr(0, 1) +
           R"(,"gateway":{"ifname":"eth0","ip":"192.168.1.10"},"is_on_corvane":)" + numbers.substr(1) +
           R"(,"org_name":"Field Office","region_name":")" + (address.empty() ? "auto" : "grp-east") +
           R"(","router":{)" + router + R"(},"supernode":{)" + supernode + R"(},"unavailable":[)" + missing +
           R"(],"virtual_ip":")" + address + R"("})";
}

TEST_F(Status, NamesWhatCannotBeHad) {
    const auto peer = [](const char* ip, int state, const char* name) {
        return "\"ip\":\"" + std::string(ip) + "\",\"ipsec_status\":" + std::to_string(state) + ",\"name\":\"" +
               name + "\"";
    };
    const auto router = [&](int state) { return peer("198.51.100.21", state, "hub-east-1"); };
    const auto supernode = [&](int state) { return peer("198.51.100.99", state, "supernode-1"); };
    const std::string nobody = peer("", 0, "");
    EXPECT_EQ(document("00", nobody, nobody, "", R"("router","supernode")"), status())
        << "an agent without a token cannot ask for its hub";

    ASSERT_EQ(0, shell("harbexctl join").status);
    EXPECT_EQ(document("11", router(1), supernode(1), "10.8.0.21", ""), status());
    shell("edge_state change '{\"tunnels\": {\"router\": {\"b\": 1}, \"supernode\": {\"supernode-1\": 0}}}'");
    EXPECT_EQ(document("11", router(2), supernode(0), "10.8.0.21", ""), status());
    {
        const Fault fault("corvane_expressd.GetIpsecStatus", "body:{\"error\":0,\"data\":[]}");
        EXPECT_EQ(document("11", router(0), supernode(0), "10.8.0.21", R"("router","supernode")"), status());
    }
    {
        const Fault hubs("corvane_expressd.GetHubInfo", R"(body:{"error":0,"data":"{}"})");
        const Fault cloud("corvane_expressd.GetCloudStatus", R"(body:{"error":0,"data":"1"})");
        EXPECT_EQ(document("01", peer("", 2, ""), nobody, "10.8.0.21", R"("cloud_status","router","supernode")"),
                  status());
    }
    shell("appliance-service stop corvane_expressd");
    EXPECT_EQ(document("01", nobody, nobody, "10.8.0.21", R"("cloud_status","router","supernode")"), status());
    shell("appliance-service start corvane_expressd");
    const ReplacedTool tool("/sbin/getcfg", "exit 1");
    shell("appliance-service stop NetworkService");
    EXPECT_EQ(
        R"(0 {"cloud_status":1,"gateway":{"ifname":"","ip":""},"is_on_corvane":0,"org_name":"","region_name":"",)"
        R"("router":{"ip":"","ipsec_status":2,"name":""},"supernode":{"ip":"","ipsec_status":0,"name":""},)"
        R"("unavailable":["is_on_corvane","org_name","region_name","virtual_ip","router","supernode","gateway"],)"
        R"("virtual_ip":""})",
        status());
    shell("appliance-service start NetworkService");
}

}  // namespace
}  // namespace harbex::test
