#include "corvane/cloud/registration.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

class Registration : public SignedInNas {
protected:
    // Code, whether there is a result document, and what is stored.
    static Outcome join() {
        const Outcome joined = on_document(corvane::device_register);
        return {joined.code, (joined.words == kKept ? ": " : "result: ") + enrolment()};
    }
};

TEST_F(Registration, GoesItsWayInOrder) {
    begin("192.168.1.77");  // clashes with the LAN: the cloud is asked for another
    const std::string joined = on_document(corvane::device_register).text();
    const JsonOwner document = parse(joined.substr(2));
    const std::string token = at(document.get(), {"corvaneToken"});
    const std::string id = at(document.get(), {"deviceId"});
    EXPECT_EQ("0 {\"corvaneToken\":\"" + token + "\",\"deviceId\":\"" + id + "\",\"kept\":1}", joined);
    EXPECT_EQ("10.8.0.5 serial grp-east agent already_join_corvane", enrolment());

    const std::string host = " corvane-api.harbex.example";
    const std::string type = "Content-Type: application/json\n";
    const std::string accept = "\naccept: application/json\nAuthorization: ";
    const std::string devices = "GET" + host + "/cvnms/bthings/api/v1/devices/" + id;
    EXPECT_EQ(
        (std::vector{
            "POST" + host + "/cvnms/bthings/api/v1/edge\nvellumToken: " + vellum_token() + "\n" + type +
                edge_body("auto"),
            "POST" + host + "/corvane/bthings/api/v1/ip_subnet_check" + accept + "Buser " + corvane_token() + "\n" +
                type +
                R"({"data":[{"ip":"192.168.1.77","submask":"32","type":"virtualIP","excludedSubnets":["192.168.1.0/24"]}]})",
            "GET" + host + "/corvane/bthings/api/v1/vpn_topology" + accept + "Buser " + token + "\n",
            devices + accept + token + "\n",
            devices + "/cloudagent_cfg?format=json" + accept + token + "\n",
        }),
        request_texts());
}

TEST_F(Registration, StopsAtTheStepThatFails) {
    const std::string whole = "result: 10.8.0.21 serial grp-east agent already_join_corvane";
    const std::string nothing = ": - - auto - -";
    const std::string logged_in = ": 10.8.0.21 serial auto - -";
    const std::string placed = ": 10.8.0.21 serial grp-east - -";
    const std::string without_region = "result: 10.8.0.21 serial auto agent already_join_corvane";
    EXPECT_EQ("0 " + whole, join().text()) << "the cloud knows the device from here on";
    expect_faults("cloud:#1", join, {{"status:503,body:{}", 70, nothing, "Failed to call corvane api edge: "}});
    expect_faults("cloud:#2", join, {{"reset", 76, logged_in, "Failed to call corvane_api_vpn_groups"}});
    expect_faults("cloud:#3", join, {{"close", 71, placed, "Failed to call corvane api devices"}});
    EXPECT_EQ(std::string::npos, requests().find("cloudagent_cfg")) << "nothing is asked behind a failure";
    expect_faults("cloud:/corvane/bthings/api/v1/vpn_topology", join,
                  {{"body:{", 0, without_region, "[resolve_auto_region] Failed to parse JSON: "}});
    expect_faults("cloud:/cvnms/bthings/api/v1/devices/*/cloudagent_cfg", join,
                  {{R"(body:{"cloudagentCfg":"DEV_ID=\"d\"\n"})", 68, ": 10.8.0.21 serial grp-east agent -",
                    "Failed to get corvane device token"}});
    expect_faults(kSetcfg, join,
                  {{"virtual_ip", 70, nothing, "Failed to parse corvane api edge response"},
                   {"corvane_serial_num", 70, ": 10.8.0.21 - auto - -", "Failed to parse corvane api edge response"},
                   {"bid_token_status", 60, "result: 10.8.0.21 serial grp-east agent -",
                    "Failed to set bid_token_status to 'already_join_corvane'"}});
    begin();
    const Broken second(kSetcfg, "corvane_serial_num", 2);
    EXPECT_EQ("34 " + logged_in, join().text());
}

TEST_F(Registration, ReadsTheLogInsAnswer) {
    const auto outcome_of = [](const std::string& reply) {
        std::string id = "-";
        std::string token = "-";
        std::string serial = "-";
        const int code = corvane::parse_api_edge(reply, id, token, serial);
        return Outcome{code, id + " " + token + " " + serial + " " + stored(kCorvaneConf, "corvane_serial_num") +
                                 " " + stored(kCorvaneConf, "virtual_ip")};
    };
    const std::string number = R"({"deviceId":"d","corvaneToken":"t","serialNumber":)";
    const std::pair<std::string, const char*> cases[] = {
        {number + R"(-9223372036854775808,"virtualIP":"10.8.0.9"})",
         "0 d t -9223372036854775808 -9223372036854775808 10.8.0.9"},
        {number + R"(1.0,"virtualIP":"10.8.0.9"})", "49 - - - - 10.8.0.9"},
    };
    for (const auto& [given, outcome] : cases) {
        begin();
        EXPECT_EQ(outcome, outcome_of(given).text()) << given;
    }
    begin();
    const Broken tool(kSetcfg, "corvane_serial_num");
    EXPECT_EQ("60 d t 7 - 10.8.0.9", outcome_of(number + R"(7,"virtualIP":"10.8.0.9"})").text()) << "not stored";
}

TEST_F(Registration, ResolvesTheAutomaticRegion) {
    EXPECT_EQ(0, corvane::resolve_auto_region(R"({"data":{"vpnGroups":[{"groupId":5,"hubs":[1]}]}})"));
    EXPECT_EQ("supn", stored(kCorvaneConf, "CORVANE_REGION_ID"));
    begin();
    EXPECT_EQ(0, corvane::resolve_auto_region(R"({"data":{"vpnGroups":[{"groupId":"a","hubs":[]},)"
                                              R"({"groupId":"c","hubs":[0]},{"groupId":"d","hubs":[1]}]}})"));
    EXPECT_EQ("c", stored(kCorvaneConf, "CORVANE_REGION_ID"));
    EXPECT_EQ(0, corvane::resolve_auto_region("")) << "a region that is chosen is kept, whatever there is";
}

}  // namespace
}  // namespace harbex::test
