#include "corvane/cloud/registration.h"

#include <algorithm>

#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

const std::string kEdge = "cloud:/cvnms/bthings/api/v1/edge";
const std::string kTopology = "cloud:/corvane/bthings/api/v1/vpn_topology";
const std::string kConfiguration = "cloud:/cvnms/bthings/api/v1/devices/*/cloudagent_cfg";

class Registration : public SignedInNas {
protected:
    // Code, whether there is a result document, and what is stored.
    static std::string join_and_look() {
        const std::string joined = on_document(corvane::device_register);
        const size_t end = joined.find(' ');
        return joined.substr(0, end) + (joined.substr(end) == R"( {"kept":1})" ? ": " : ", result: ") + enrolment();
    }
};

TEST_F(Registration, GoesItsWayInOrder) {
    begin("192.168.1.77");  // clashes with the LAN: the cloud is asked for another
    TraceReader log;
    const std::string joined = on_document(corvane::device_register);
    const JsonOwner document = parse(joined.substr(2));
    const std::string token = at(document.get(), {"corvaneToken"});
    const std::string id = at(document.get(), {"deviceId"});
    EXPECT_EQ("0 {\"corvaneToken\":\"" + token + "\",\"deviceId\":\"" + id + "\",\"kept\":1}", joined);
    EXPECT_EQ("10.8.0.5 serial grp-east agent already_join_corvane", enrolment());
    EXPECT_EQ(0, shell("grep -qx 'DEV_ID=\"" + id + "\"' " + kAgentLink).status);

    const std::string type = "Content-Type: application/json\n";
    const std::string accept = "accept: application/json\nAuthorization: ";
    const std::string devices = "GET /cvnms/bthings/api/v1/devices/" + id;
    const std::string expected[] = {
        "POST /cvnms/bthings/api/v1/edge\nvellumToken: " + vellum_token() + "\n" + type + edge_body("auto"),
        "POST /corvane/bthings/api/v1/ip_subnet_check\n" + accept + "Buser " + corvane_token() + "\n" + type +
            R"({"data":[{"ip":"192.168.1.77","submask":"32","type":"virtualIP","excludedSubnets":["192.168.1.0/24"]}]})",
        "GET /corvane/bthings/api/v1/vpn_topology\n" + accept + "Buser " + token + "\n",
        devices + "\n" + accept + token + "\n",
        devices + "/cloudagent_cfg?format=json\n" + accept + token + "\n",
    };
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(std::size(expected), records.size());
    for (size_t index = 0; index < records.size(); ++index)
        EXPECT_EQ(expected[index], request_text(records[index].get()));

    const std::string lines = lines_of(log, "INFO");
    size_t position = 0;
    for (const char* step :
         {"call corvane api edge\n", "parse corvane api edge response\n", "[parse_api_edge] start\n",
          "[parse_api_edge] Checking virtual IP subnet conflicts\n", "corvane_api_ip_subnet_check start\n",
          "[parse_api_edge] Device ID: ", "corvane api vpn_groups\n",
          "reply_vpn_groups: ", "[resolve_auto_region] Hub found in group grp-east, resolving to hub\n",
          "corvane api devices (register device on corvane)\n", "parse corvane api devices response\n",
          "write corvane api devices response to cloudagent.cfg\n",
          "Successfully set bid_token_status to 'already_join_corvane'"}) {
        const size_t found = lines.find(step, position);
        EXPECT_NE(std::string::npos, found) << step;
        if (found != std::string::npos) position = found;
    }
}

// What a registration leaves when its nth request to the cloud fails in each way a transfer can.
TEST_F(Registration, EveryTransferMayFail) {
    const struct {
        int number;
        const char *outcome, *error;
    } cases[] = {
        {1, "70: - - auto - -", "Failed to call corvane api edge: "},
        {2, "76: 10.8.0.21 serial auto - -", "Failed to call corvane_api_vpn_groups"},
        {3, "71: 10.8.0.21 serial grp-east - -", "Failed to call corvane api devices"},
        {4, "71: 10.8.0.21 serial grp-east - -", "Failed to parse corvane api devices response"},
    };
    for (const auto& c : cases) {
        std::vector<FaultRow> rows;
        for (const char* kind : {"reset", "close", "certificate:expired", "status:302", "status:503,body:{}"})
            rows.push_back({kind, c.outcome, c.error});
        if (c.number == 4) rows.push_back({"delay:12", c.outcome, c.error});
        expect_faults("cloud:#" + std::to_string(c.number), join_and_look, rows);
        const std::string seen = requests();
        EXPECT_GT(c.number, std::count(seen.begin(), seen.end(), '\n')) << "nothing is asked behind a failure";
    }
}

TEST_F(Registration, EveryAnswerMayBeWrong) {
    const std::string no_file = "Failed to write corvane api devices response to cloudagent.cfg";
    const std::string no_topology = "[resolve_auto_region] ";
    const std::string without_agent = "71: 10.8.0.21 serial grp-east - -";
    const std::string without_region = "0, result: 10.8.0.21 serial auto agent already_join_corvane";
    const std::string whole = "0, result: 10.8.0.21 serial grp-east agent already_join_corvane";
    EXPECT_EQ(whole, join_and_look()) << "the cloud knows the device from here on";
    expect_faults(kEdge, join_and_look,
                  {{"body:", "70: - - auto - -", "Failed to parse corvane api edge response"},
                   {R"(body:{"deviceId":"d","corvaneToken":"t\r\nX: y","serialNumber":1,"virtualIP":"10.8.0.9"})",
                    "76: 10.8.0.9 serial auto - -", "Failed to call corvane_api_vpn_groups"}});
    expect_faults(kTopology, join_and_look,
                  {{"body:{", without_region, no_topology + "Failed to parse JSON: "},
                   {R"(body:{"data":[]})", without_region, no_topology + "vpnGroups not found or not array"}});
    expect_faults("cloud:/cvnms/bthings/api/v1/devices/dev-????", join_and_look, {{"body:dropped", whole, ""}});
    expect_faults(kConfiguration, join_and_look,
                  {
                      {"body:", without_agent, no_file},
                      {R"(body:{"cloudagentCfg":["DEV_ID"]})", without_agent, no_file},
                      {R"(body:{"cloudagentCfg":"DEV_ID=\"d\"\n"})", "68: 10.8.0.21 serial grp-east agent -",
                       "Failed to get corvane device token"},
                  });
    expect_faults("NetworkService.api.check_network_intersect", join_and_look,
                  {{"body:{", whole, "is_network_intersect: "}});
    expect_faults("harbex_network_service.Get_cloudtoken", join_and_look,
                  {{R"(body:{"error":1010})", "63: - - auto - -", "Failed to obtain vellumToken"}});
}

TEST_F(Registration, EveryStoreMayFail) {
    const std::string no_log_in = "\nFailed to parse corvane api edge response";
    const struct {
        const char* key;
        int write;
        const char* outcome;
        std::string errors;
    } cases[] = {
        {"virtual_ip", 1, "70: - - auto - -", "[parse_api_edge] Failed to set virtual ip" + no_log_in},
        {"corvane_serial_num", 1, "70: 10.8.0.21 - auto - -", "Failed to set serial number" + no_log_in},
        {"corvane_serial_num", 2, "34: 10.8.0.21 serial auto - -", "Failed to set serial number"},
        {"CORVANE_REGION_ID", 1, "0, result: 10.8.0.21 serial auto agent already_join_corvane",
         "[resolve_auto_region] Failed to set region id"},
        {"bid_token_status", 1, "60, result: 10.8.0.21 serial grp-east agent -",
         "Failed to set bid_token_status to 'already_join_corvane'"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        const ReplacedTool tool("/sbin/setcfg", failing_for("setcfg", c.key, c.write));
        EXPECT_EQ(c.outcome, join_and_look()) << c.key;
        EXPECT_EQ(c.errors, lines_of(log, "ERROR")) << c.key;
    }
}

std::string parse_reply(const std::string& reply) {
    std::string id = "-";
    std::string token = "-";
    std::string serial = "-";
    const int code = corvane::parse_api_edge(reply, id, token, serial);
    EXPECT_EQ(code == 60 ? "-" : serial, stored(kCorvaneConf, "corvane_serial_num")) << reply;
    id.append(" ").append(token).append(" ").append(serial);
    return std::to_string(code) + " " + id + " " + stored(kCorvaneConf, "virtual_ip");
}

TEST_F(Registration, ReadsTheLogInsAnswer) {
    const char* const missing = "[parse_api_edge] deviceId or corvaneToken is not a string";
    const std::string rest = R"(,"virtualIP":"10.8.0.9"})";
    const struct {
        std::string reply;
        const char *outcome, *errors;
    } cases[] = {
        {R"({"deviceId":"d","corvaneToken":"t","serialNumber":-9223372036854775808)" + rest,
         "0 d t -9223372036854775808 10.8.0.9", ""},
        {R"({"deviceId":"d","corvaneToken":"t","serialNumber":1.0)" + rest, "49 - - - 10.8.0.9", missing},
        {R"({"corvaneToken":"t","serialNumber":1)" + rest, "49 - - - 10.8.0.9", missing},
        {R"({"deviceId":"d","corvaneToken":null,"serialNumber":1)" + rest, "49 - - - 10.8.0.9", missing},
        {R"({"deviceId":"d","corvaneToken":"t","serialNumber":1})", "49 - - - -",
         "[parse_api_edge] virtual_ip_json is not a string"},
        {"[]", "49 - - - -", "Failed to parse JSON response"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        EXPECT_EQ(c.outcome, parse_reply(c.reply)) << c.reply;
        EXPECT_EQ(c.errors, lines_of(log, "ERROR")) << c.reply;
    }
    begin();
    const Fault fault("cloud:/corvane/bthings/api/v1/ip_subnet_check", "reset");
    EXPECT_EQ("0 d t 1 192.168.1.10",
              parse_reply(R"({"deviceId":"d","corvaneToken":"t","serialNumber":1,"virtualIP":"192.168.1.10"})"));
    EXPECT_TRUE(last_error(log).starts_with("[parse_api_edge] Failed to check IP subnet: "));
    begin();
    const ReplacedTool tool("/sbin/setcfg", failing_for("setcfg", "corvane_serial_num", 1));
    EXPECT_EQ("60 d t 1 10.8.0.9", parse_reply(R"({"deviceId":"d","corvaneToken":"t","serialNumber":1)" + rest))
        << "the caller has the identity although the serial number is not stored";
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
        {"auto", "", 49, "auto"},
        {"Auto", "", 0, "Auto"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        write_text(kCorvaneConf, std::string("[Join Corvane]\nCORVANE_REGION_ID = ") + c.region + "\n");
        EXPECT_EQ(c.code, corvane::resolve_auto_region(std::string(R"({"data":{"vpnGroups":)") + c.groups + "}}"))
            << c.region << c.groups;
        EXPECT_EQ(c.left, stored(kCorvaneConf, "CORVANE_REGION_ID")) << c.region << c.groups;
        EXPECT_EQ(c.code == 0, lines_of(log, "ERROR").empty()) << c.region << c.groups;
    }
    const ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(0, corvane::resolve_auto_region("")) << "an unreadable region is none to resolve";
}

}  // namespace
}  // namespace harbex::test
