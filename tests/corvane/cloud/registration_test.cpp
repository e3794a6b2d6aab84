#include "corvane/cloud/registration.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

const std::string kTopology = "cloud:/corvane/bthings/api/v1/vpn_topology";
const std::string kConfiguration = "cloud:/cvnms/bthings/api/v1/devices/*/cloudagent_cfg";

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
    LogReader log;
    const std::string joined = on_document(corvane::device_register).text();
    const JsonOwner document = parse(joined.substr(2));
    const std::string token = at(document.get(), {"corvaneToken"});
    const std::string id = at(document.get(), {"deviceId"});
    EXPECT_EQ("0 {\"corvaneToken\":\"" + token + "\",\"deviceId\":\"" + id + "\",\"kept\":1}", joined);
    EXPECT_EQ("10.8.0.5 serial grp-east agent already_join_corvane", enrolment());
    EXPECT_EQ(0, shell("grep -qx 'DEV_ID=\"" + id + "\"' " + kAgentLink).status);

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

    const std::string lines = log.text("INFO");
    size_t position = 0;
    for (const char* step :
         {"call corvane api edge\n", "parse corvane api edge response\n", "[parse_api_edge] start\n",
          "[parse_api_edge] Checking virtual IP subnet conflicts\n", "corvane_api_ip_subnet_check start\n",
          "[parse_api_edge] Device ID: ", "corvane api vpn_groups\n",
          "reply_vpn_groups: ", "[resolve_auto_region] Hub found in group grp-east, resolving to hub\n",
          "corvane api devices (register device on corvane)\n", "parse corvane api devices response\n",
          "write corvane api devices response to cloudagent.cfg\n",
          "Successfully set bid_token_status to 'already_join_corvane'"}) {
        position = lines.find(step, position);
        ASSERT_NE(std::string::npos, position) << step;
    }
}

TEST_F(Registration, StopsAtTheStepThatFails) {
    const std::string whole = "result: 10.8.0.21 serial grp-east agent already_join_corvane";
    const std::string nothing = ": - - auto - -";
    const std::string logged_in = ": 10.8.0.21 serial auto - -";
    const std::string placed = ": 10.8.0.21 serial grp-east - -";
    const std::string without_region = "result: 10.8.0.21 serial auto agent already_join_corvane";
    const std::string no_device = "Failed to call corvane api devices";
    const std::string no_configuration = "Failed to parse corvane api devices response";
    const std::string no_file = "Failed to write corvane api devices response to cloudagent.cfg";
    EXPECT_EQ("0 " + whole, join().text()) << "the cloud knows the device from here on";
    // Each transfer, in its place; then each way in which a transfer can fail, for the last of them.
    expect_faults("cloud:#1", join, {{"status:503,body:{}", 70, nothing, "Failed to call corvane api edge: "}});
    expect_faults("cloud:#2", join, {{"reset", 76, logged_in, "Failed to call corvane_api_vpn_groups"}});
    expect_faults("cloud:#3", join, {{"close", 71, placed, no_device}});
    EXPECT_EQ(std::string::npos, requests().find("cloudagent_cfg")) << "nothing is asked behind a failure";
    expect_faults("cloud:#4", join,
                  {{"reset", 71, placed, no_configuration},
                   {"close", 71, placed, no_configuration},
                   {"certificate:expired", 71, placed, no_configuration},
                   {"status:302", 71, placed, no_configuration},
                   {"delay:12", 71, placed, no_configuration}});
    expect_faults("cloud:/cvnms/bthings/api/v1/edge", join,
                  {{"body:", 70, nothing, "Failed to parse corvane api edge response"},
                   {R"(body:{"deviceId":"d","corvaneToken":"t\r\nX: y","serialNumber":1,"virtualIP":"10.8.0.21"})",
                    76, logged_in, "Failed to call corvane_api_vpn_groups"}});
    expect_faults(
        kTopology, join,
        {{"body:{", 0, without_region, "[resolve_auto_region] Failed to parse JSON: "},
         {R"(body:{"data":[]})", 0, without_region, "[resolve_auto_region] vpnGroups not found or not array"}});
    expect_faults("cloud:/cvnms/bthings/api/v1/devices/dev-????", join, {{"body:dropped", 0, whole, ""}});
    expect_faults(kConfiguration, join,
                  {{R"(body:{"cloudagentCfg":["DEV_ID"]})", 71, placed, no_file},
                   {R"(body:{"cloudagentCfg":"DEV_ID=\"d\"\n"})", 68, ": 10.8.0.21 serial grp-east agent -",
                    "Failed to get corvane device token"}});
    expect_faults("NetworkService.api.check_network_intersect", join,
                  {{"body:{", 0, whole, "is_network_intersect: "}});
    EXPECT_EQ(std::string::npos, requests().find("subnet_check")) << "a manager that cannot judge is no clash";
    expect_faults("harbex_network_service.Get_cloudtoken", join,
                  {{R"(body:{"error":1010})", 63, nothing, "Failed to obtain vellumToken"}});
    expect_faults(kSetcfg, join,
                  {{"virtual_ip", 70, nothing, "Failed to parse corvane api edge response"},
                   {"corvane_serial_num", 70, ": 10.8.0.21 - auto - -", "Failed to parse corvane api edge response"},
                   {"CORVANE_REGION_ID", 0, without_region, "[resolve_auto_region] Failed to set region id"},
                   {"bid_token_status", 60, "result: 10.8.0.21 serial grp-east agent -",
                    "Failed to set bid_token_status to 'already_join_corvane'"}});
    begin();
    LogReader log;
    const Broken second(kSetcfg, "corvane_serial_num", 2);
    EXPECT_EQ("34 " + logged_in, join().text());
    EXPECT_EQ("Failed to set serial number", log.text("ERROR"));
}

TEST_F(Registration, ReadsTheLogInsAnswer) {
    static std::string reply;
    const auto parse_reply = [] {
        std::string id = "-";
        std::string token = "-";
        std::string serial = "-";
        const int code = corvane::parse_api_edge(reply, id, token, serial);
        return Outcome{code, id.append(" ").append(token).append(" ").append(serial) + " " +
                                 stored(kCorvaneConf, "corvane_serial_num") + " " +
                                 stored(kCorvaneConf, "virtual_ip")};
    };
    const std::string missing = "[parse_api_edge] deviceId or corvaneToken is not a string";
    const std::string rest = R"(,"virtualIP":"10.8.0.9"})";
    const std::string number = R"({"deviceId":"d","corvaneToken":"t","serialNumber":)";
    const Row rows[] = {
        {number + "-9223372036854775808" + rest, 0, "d t -9223372036854775808 -9223372036854775808 10.8.0.9", ""},
        {number + "1.0" + rest, 49, "- - - - 10.8.0.9", missing},
        {R"({"corvaneToken":"t","serialNumber":1)" + rest, 49, "- - - - 10.8.0.9", missing},
        {R"({"deviceId":"d","corvaneToken":null,"serialNumber":1)" + rest, 49, "- - - - 10.8.0.9", missing},
        {number + "1}", 49, "- - - - -", "[parse_api_edge] virtual_ip_json is not a string"},
        {"[]", 49, "- - - - -", "Failed to parse JSON response"},
    };
    LogReader log;
    for (const Row& row : rows) {
        begin();
        reply = row.given;
        EXPECT_EQ((Outcome{row.code, row.words}.text()), parse_reply().text()) << reply;
        EXPECT_EQ(row.errors, log.text("ERROR")) << reply;
    }
    reply = number + "1" + rest;  // the caller has the identity although the serial number is not stored
    expect_faults(kSetcfg, parse_reply,
                  {{"corvane_serial_num", 60, "d t 1 - 10.8.0.9", "Failed to set serial number"}});
    reply = number + R"(1,"virtualIP":"192.168.1.10"})";
    expect_faults("cloud:/corvane/bthings/api/v1/ip_subnet_check", parse_reply,
                  {{"reset", 0, "d t 1 1 192.168.1.10", "[parse_api_edge] Failed to check IP subnet: "}});
}

TEST_F(Registration, ResolvesTheAutomaticRegion) {
    const struct {
        const char *region, *groups;
        int code;
        const char* left;
    } cases[] = {
        {"auto", R"([{"groupId":"a","hubs":[]},{"groupId":"c","hubs":[0]},{"groupId":"d","hubs":[1]}])", 0, "c"},
        {"auto", R"([7,{"groupId":"a","hubs":{"x":1}}])", 0, "supn"},
        {"auto", R"([{"groupId":5,"hubs":[1]},{"groupId":"b","hubs":[1]}])", 0, "supn"},
        {"auto", "{}", 49, "auto"},
        {"Auto", "", 0, "Auto"},
    };
    for (const auto& c : cases) {
        set_setting(kCorvaneConf, "CORVANE_REGION_ID", c.region);
        EXPECT_EQ(c.code, corvane::resolve_auto_region(std::string(R"({"data":{"vpnGroups":)") + c.groups + "}}"));
        EXPECT_EQ(c.left, stored(kCorvaneConf, "CORVANE_REGION_ID")) << c.region << c.groups;
    }
    const Broken tool(kGetcfg, "*");
    EXPECT_EQ(0, corvane::resolve_auto_region("")) << "an unreadable region is none to resolve";
}

}  // namespace
}  // namespace harbex::test
