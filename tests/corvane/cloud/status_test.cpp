#include "corvane/cloud/status.h"

#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

class Status : public SignedInNas {
protected:
    static std::string status() {
        JsonValue document;
        document["stale"] = 1;
        EXPECT_EQ(0, corvane::get_corvane_status(document));
        return print_text(document);
    }
};

std::string document(const std::string& numbers, const std::string& names, const std::string& router,
                     const std::string& supernode, const std::string& address, const std::string& missing) {
    return "{\"cloud_status\":" + numbers.substr(0, 1) +
           ",\"gateway\":{\"ifname\":\"eth0\",\"ip\":\"192.168.1.10\"}," + "\"is_on_corvane\":" + numbers.substr(1) +
           "," + names + ",\"router\":{" + router + "},\"supernode\":{" + supernode + "},\"unavailable\":[" +
           missing + "],\"virtual_ip\":\"" + address + "\"}";
}

TEST_F(Status, NamesWhatCannotBeHad) {
    const std::string names = R"("org_name":"Field Office","region_name":"auto")";
    const std::string nobody = R"("ip":"","ipsec_status":0,"name":"")";
    EXPECT_EQ(document("00", names, nobody, nobody, "", R"("router","supernode")"), status())
        << "an agent without a token cannot ask for its hub";

    ASSERT_EQ(0, shell("harbexctl join").status);
    const std::string router = R"("ip":"198.51.100.21","ipsec_status":1,"name":"hub-east-1")";
    const std::string supernode = R"("ip":"198.51.100.99","ipsec_status":1,"name":"supernode-1")";
    EXPECT_EQ(document("11", names, router, supernode, "10.8.0.21", ""), status());
    shell("edge_state change '{\"tunnels\": {\"router\": {\"b\": 1}, \"supernode\": {\"supernode-1\": 0}}}'");
    EXPECT_EQ(document("11", names, R"("ip":"198.51.100.21","ipsec_status":2,"name":"hub-east-1")",
                       R"("ip":"198.51.100.99","ipsec_status":0,"name":"supernode-1")", "10.8.0.21", ""),
              status());
    {
        const Fault fault("corvane_expressd.GetIpsecStatus", "body:{\"error\":0,\"data\":[]}");
        EXPECT_EQ(document("11", names, R"("ip":"198.51.100.21","ipsec_status":0,"name":"hub-east-1")",
                           R"("ip":"198.51.100.99","ipsec_status":0,"name":"supernode-1")", "10.8.0.21",
                           R"("router","supernode")"),
                  status());
    }
    {
        const Fault hubs("corvane_expressd.GetHubInfo", R"(body:{"error":0,"data":"{}"})");
        const Fault cloud("corvane_expressd.GetCloudStatus", R"(body:{"error":0,"data":"1"})");
        EXPECT_EQ(document("01", names, R"("ip":"","ipsec_status":2,"name":"")", nobody, "10.8.0.21",
                           R"("cloud_status","router","supernode")"),
                  status());
    }
    shell("appliance-service stop corvane_expressd");
    EXPECT_EQ(document("01", names, nobody, nobody, "10.8.0.21", R"("cloud_status","router","supernode")"), status());
    shell("appliance-service start corvane_expressd");
    const ReplacedTool tool("/sbin/getcfg", "exit 1");
    shell("appliance-service stop NetworkService");
    EXPECT_EQ(
        R"({"cloud_status":1,"gateway":{"ifname":"","ip":""},"is_on_corvane":0,"org_name":"","region_name":"",)"
        R"("router":{"ip":"","ipsec_status":2,"name":""},"supernode":{"ip":"","ipsec_status":0,"name":""},)"
        R"("unavailable":["is_on_corvane","org_name","region_name","virtual_ip","router","supernode","gateway"],)"
        R"("virtual_ip":""})",
        status());
    shell("appliance-service start NetworkService");
}

}  // namespace
}  // namespace harbex::test
