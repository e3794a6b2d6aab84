#include "corvane/cloud/status.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

using Status = SignedInNas;

std::string status() {
    return on_document(corvane::get_corvane_status).text();
}

std::string document(const std::string& numbers, const std::string& router, const std::string& missing) {
    return R"(0 {"cloud_status":)" + numbers.substr(0, 1) +
           R"(,"gateway":{"ifname":"eth0","ip":"192.168.1.10"},"is_on_corvane":)" + numbers.substr(1) +
           R"(,"org_name":"Field Office","region_name":"grp-east","router":{"ip":"198.51.100.21","ipsec_status":)" +
           router + R"(,"name":"hub-east-1"},"supernode":{"ip":"198.51.100.99","ipsec_status":0,)" +
           R"("name":"supernode-1"},"unavailable":[)" + missing + R"(],"virtual_ip":"10.8.0.21"})";
}

TEST_F(Status, NamesWhatCannotBeHad) {
    ASSERT_EQ(0, shell("harbexctl join").status);
    shell("edge_state change '{\"tunnels\": {\"router\": {\"b\": 1}, \"supernode\": {\"supernode-1\": 0}}}'");
    EXPECT_EQ(document("11", "2", ""), status());
    {
        const Fault tunnels("corvane_expressd.GetIpsecStatus", "body:{\"error\":0,\"data\":[]}");
        const Fault cloud("corvane_expressd.GetCloudStatus", R"(body:{"error":0,"data":"1"})");
        EXPECT_EQ(document("01", "0", R"("cloud_status","router","supernode")"), status());
    }
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
