#include "corvane/cloud/registration.h"

#include "common/error_code.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

using Lines = std::vector<std::string>;

class Registration : public SignedInNas {
protected:
    // Joins; code and result document as one text.
    static std::string join() {
        JsonValue result;
        const int code = corvane::device_register(result);
        return std::to_string(code) + " " + text_of(result);
    }
};

TEST_F(Registration, GoesItsWayInOrder) {
    begin("192.168.1.77");  // clashes with the LAN: the cloud is asked for another
    TraceReader log;
    const std::string joined = join();
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(5U, records.size());
    const std::string token = at(parse(joined.substr(2)).get(), {"corvaneToken"});
    const std::string id = at(parse(joined.substr(2)).get(), {"deviceId"});
    EXPECT_EQ("0 {\"corvaneToken\":\"" + token + "\",\"deviceId\":\"" + id + "\"}", joined);
    const std::string accept = "accept: application/json";
    const std::string devices = "GET /cvnms/bthings/api/v1/devices/" + id;
    const struct {
        std::string request;
        Lines headers;
        std::string body;
    } cases[] = {
        {"POST /cvnms/bthings/api/v1/edge", {"vellumToken: " + vellum_token(), kJsonType}, edge_body("auto")},
        {"POST /corvane/bthings/api/v1/ip_subnet_check",
         {accept, "Authorization: Buser " + corvane_token(), kJsonType},
         R"({"data":[{"ip":"192.168.1.77","submask":"32","type":"virtualIP","excludedSubnets":["192.168.1.0/24"]}]})"},
        {"GET /corvane/bthings/api/v1/vpn_topology", {accept, "Authorization: Buser " + token}, ""},
        {devices, {accept, "Authorization: " + token}, ""},
        {devices + "/cloudagent_cfg?format=json", {accept, "Authorization: " + token}, ""},
    };
    for (size_t index = 0; index < records.size(); ++index) {
        const json_t* record = records[index].get();
        EXPECT_EQ(cases[index].request, at(record, {"method"}) + " " + at(record, {"target"}));
        EXPECT_EQ(cases[index].headers, header_lines(record)) << cases[index].request;
        EXPECT_EQ(cases[index].body, at(record, {"body"})) << cases[index].request;
    }
    EXPECT_EQ("10.8.0.5 serial grp-east agent already_join_corvane", enrolment());
    EXPECT_EQ(id, shell("sed -n 's/^DEV_ID=\"\\(.*\\)\"$/\\1/p' " + std::string(kAgentLink) + " | tr -d '\\n'").out);

    Lines steps;
    for (const std::string& line : log.lines()) {
        const std::string text = line.substr(line.find(' ') + 1);
        if (text.starts_with("call ") || text.starts_with("parse ") || text.starts_with("corvane api ") ||
            text.starts_with("write ") || text.starts_with("Successfully set"))
            steps.push_back(line.substr(0, line.find(": {")));
    }
    EXPECT_EQ(
        (Lines{"INFO call corvane api edge", "INFO parse corvane api edge response",
               "INFO corvane api ip_subnet_check response", "INFO corvane api vpn_groups",
               "INFO corvane api devices (register device on corvane)", "INFO parse corvane api devices response",
               "INFO write corvane api devices response to cloudagent.cfg",
               "INFO Successfully set bid_token_status to 'already_join_corvane'"}),
        steps);
}

// What a registration leaves when its nth request to the cloud fails in each way a transfer can.
TEST_F(Registration, EveryTransferMayFail) {
    const struct {
        int number;
        int code;
        const char* error;
        const char* left;
    } cases[] = {
        {1, ERR_CORVANEAPI_EDGE, "Failed to call corvane api edge: ", "- - auto - -"},
        {2, ERR_CORVANEAPI_VPN_GROUPS, "Failed to call corvane_api_vpn_groups", "10.8.0.21 serial auto - -"},
        {3, ERR_CORVANEAPI_DEVICES, "Failed to call corvane api devices", "10.8.0.21 serial grp-east - -"},
        {4, ERR_CORVANEAPI_DEVICES, "Failed to parse corvane api devices response", "10.8.0.21 serial grp-east - -"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        std::vector<std::string> kinds = {"reset",      "close",      "certificate:expired",
                                          "status:302", "status:404", "status:503,body:{\"cloudagentCfg\":\"\"}"};
        if (c.number == 4) kinds.push_back("delay:12");
        for (const std::string& kind : kinds) {
            const std::string what = "request " + std::to_string(c.number) + ": " + kind;
            begin();
            const Fault fault("cloud:#" + std::to_string(c.number), kind);
            EXPECT_EQ(std::to_string(c.code) + " null", join()) << what;
            const std::string error = last_error(log);
            EXPECT_EQ(c.error, error.substr(0, strlen(c.error))) << what;
            EXPECT_EQ(c.left, enrolment()) << what;
            EXPECT_LE(requests().size(), static_cast<size_t>(c.number)) << what;
        }
    }
    begin();
    const Fault fault("cloud:/cvnms/bthings/api/v1/edge", "refuse");
    EXPECT_EQ("70 null", join());
    EXPECT_EQ("- - auto - -", enrolment());
}

TEST_F(Registration, EveryAnswerMayBeWrong) {
    const std::string edge = "cloud:/cvnms/bthings/api/v1/edge";
    const std::string topology = "cloud:/corvane/bthings/api/v1/vpn_topology";
    const std::string configuration = "cloud:/cvnms/bthings/api/v1/devices/*/cloudagent_cfg";
    const std::string not_parsed = "Failed to parse corvane api edge response";
    const std::string not_written = "Failed to write corvane api devices response to cloudagent.cfg";
    const char* const joined = "10.8.0.21 serial auto agent already_join_corvane";
    const struct {
        const char* name;
        std::string fault;
        std::string body;
        int code;
        std::string error;
        const char* left;
    } cases[] = {
        {"no log-in answer", edge, "", 70, not_parsed, "- - auto - -"},
        {"no JSON", edge, "<html>", 70, not_parsed, "- - auto - -"},
        {"serial number as text", edge,
         R"({"deviceId":"d","corvaneToken":"t","serialNumber":"1","virtualIP":"10.8.0.9"})", 70, not_parsed,
         "10.8.0.9 - auto - -"},
        {"a token of two lines", edge,
         R"({"deviceId":"d","corvaneToken":"t\r\nX: y","serialNumber":1,"virtualIP":"10.8.0.9"})", 76,
         "Failed to call corvane_api_vpn_groups", "10.8.0.9 serial auto - -"},
        {"no topology", topology, "{", 0, "[resolve_auto_region] Failed to parse JSON: ", joined},
        {"another topology", topology, R"({"data":{"vpnGroups":{}}})", 0,
         "[resolve_auto_region] vpnGroups not found or not array", joined},
        {"no device record", "cloud:/cvnms/bthings/api/v1/devices/dev-????", "nothing", 0, "",
         "10.8.0.21 serial grp-east agent already_join_corvane"},
        {"no configuration", configuration, "", 71, not_written, "10.8.0.21 serial grp-east - -"},
        {"configuration no text", configuration, R"({"cloudagentCfg":["DEV_ID"]})", 71, not_written,
         "10.8.0.21 serial grp-east - -"},
        {"no device token", configuration, R"({"cloudagentCfg":"DEV_ID=\"d\"\n"})", 68,
         "Failed to get corvane device token", "10.8.0.21 serial grp-east agent -"},
        {"no judgement on the address", "NetworkService.api.check_network_intersect", "{", 0, "",
         "10.8.0.21 serial grp-east agent already_join_corvane"},
        {"no account token", "harbex_network_service.Get_cloudtoken", R"({"error":1010,"data":""})", 63,
         "Failed to obtain vellumToken", "- - auto - -"},
    };
    EXPECT_TRUE(join().starts_with("0 ")) << "the cloud knows the device from here on";
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        const Fault fault(c.fault, "body:" + c.body);
        const std::string outcome = join();
        EXPECT_EQ(std::to_string(c.code) + (c.code == 0 ? " {" : " n"), outcome.substr(0, outcome.find(' ') + 2))
            << c.name;
        EXPECT_EQ(c.error, last_error(log).substr(0, c.error.size())) << c.name;
        EXPECT_EQ(c.left, enrolment()) << c.name;
    }
}

TEST_F(Registration, EveryStoreMayFail) {
    const struct {
        const char* key;
        int write;
        int code;
        std::string errors;
        const char* left;
    } cases[] = {
        {"virtual_ip", 1, 70, "[parse_api_edge] Failed to set virtual ip\nFailed to parse corvane api edge response",
         "- - auto - -"},
        {"corvane_serial_num", 1, 70, "Failed to set serial number\nFailed to parse corvane api edge response",
         "10.8.0.21 - auto - -"},
        {"corvane_serial_num", 2, 34, "Failed to set serial number", "10.8.0.21 serial auto - -"},
        {"CORVANE_REGION_ID", 1, 0, "[resolve_auto_region] Failed to set region id",
         "10.8.0.21 serial auto agent already_join_corvane"},
        {"bid_token_status", 1, 60, "Failed to set bid_token_status to 'already_join_corvane'",
         "10.8.0.21 serial grp-east agent -"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        const ReplacedTool tool("/sbin/setcfg", setcfg_without(c.key, c.write));
        const std::string outcome = join();
        const bool has_result = outcome.find("\"deviceId\":\"dev-") != std::string::npos;
        EXPECT_EQ(std::to_string(c.code), outcome.substr(0, outcome.find(' '))) << c.key;
        EXPECT_EQ(c.code == 0 || c.code == 60, has_result) << c.key << outcome;
        EXPECT_EQ(c.errors, lines_of(log, "ERROR")) << c.key;
        EXPECT_EQ(c.left, enrolment()) << c.key;
    }
}

TEST_F(Registration, ReadsTheLogInsAnswer) {
    const std::string missing = "[parse_api_edge] deviceId or corvaneToken is not a string";
    const std::string no_address = "[parse_api_edge] virtual_ip_json is not a string";
    const struct {
        const char* reply;
        std::string outcome;
        std::string errors;
    } cases[] = {
        {R"({"deviceId":"d","corvaneToken":"t","serialNumber":-9223372036854775808,"virtualIP":"10.8.0.9"})",
         "0 d t -9223372036854775808 10.8.0.9", ""},
        {R"({"deviceId":"","corvaneToken":"","serialNumber":0,"virtualIP":"10.8.0.9"})", "0   0 10.8.0.9", ""},
        {R"({"deviceId":"d","corvaneToken":"t","serialNumber":1.0,"virtualIP":"10.8.0.9"})", "49 - - - 10.8.0.9",
         missing},
        {R"({"corvaneToken":"t","serialNumber":1,"virtualIP":"10.8.0.9"})", "49 - - - 10.8.0.9", missing},
        {R"({"deviceId":"d","corvaneToken":null,"serialNumber":1,"virtualIP":"10.8.0.9"})", "49 - - - 10.8.0.9",
         missing},
        {R"({"deviceId":"d","corvaneToken":"t","serialNumber":1})", "49 - - - -", no_address},
        {R"({"data":{"deviceId":"d","corvaneToken":"t","serialNumber":1,"virtualIP":"10.8.0.9"}})", "49 - - - -",
         no_address},
        {R"([])", "49 - - - -", "Failed to parse JSON response"},
        {"", "49 - - - -", "Failed to parse JSON response"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        std::string id = "-";
        std::string token = "-";
        std::string serial = "-";
        const int code = corvane::parse_api_edge(c.reply, id, token, serial);
        EXPECT_EQ(c.outcome, std::to_string(code) + " " + id + " " + token + " " + serial + " " +
                                 stored(kCorvaneConf, "virtual_ip"))
            << c.reply;
        EXPECT_EQ(serial, stored(kCorvaneConf, "corvane_serial_num")) << c.reply;
        EXPECT_EQ(c.errors, lines_of(log, "ERROR")) << c.reply;
    }
    begin("192.168.1.10");
    const Fault fault("cloud:/corvane/bthings/api/v1/ip_subnet_check", "reset");
    std::string unused;
    EXPECT_EQ(0, corvane::parse_api_edge(
                     R"({"deviceId":"d","corvaneToken":"t","serialNumber":1,"virtualIP":"192.168.1.10"})", unused,
                     unused, unused));
    EXPECT_TRUE(last_error(log).starts_with("[parse_api_edge] Failed to check IP subnet: "));
    EXPECT_EQ("192.168.1.10", stored(kCorvaneConf, "virtual_ip"));
}

TEST_F(Registration, ResolvesTheAutomaticRegion) {
    const struct {
        const char* region;
        const char* topology;
        int code;
        const char* left;
    } cases[] = {
        {"auto",
         R"({"data":{"vpnGroups":[{"groupId":"a","hubs":[]},{"groupId":"b"},{"groupId":"c","hubs":[0]},{"groupId":"d","hubs":[1]}]}})",
         0, "c"},
        {"auto", R"({"data":{"vpnGroups":[7,{"groupId":"a","hubs":{"x":1}}]}})", 0, "supn"},
        {"auto", R"({"data":{"vpnGroups":[{"groupId":5,"hubs":[1]},{"groupId":"b","hubs":[1]}]}})", 0, "supn"},
        {"auto", R"({"data":{"vpnGroups":[]}})", 0, "supn"},
        {"auto", R"({"data":{}})", 49, "auto"},
        {"auto", R"({"vpnGroups":[]})", 49, "auto"},
        {"auto", "[]", 49, "auto"},
        {"auto", "", 49, "auto"},
        {"Auto", "", 0, "Auto"},
        {"grp-north", "", 0, "grp-north"},
        {"", "", 0, "-"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        const std::string id = *c.region == '\0' ? "" : std::string("CORVANE_REGION_ID = ") + c.region + "\n";
        write_text(kCorvaneConf, "[Join Corvane]\n" + id);
        EXPECT_EQ(c.code, corvane::resolve_auto_region(c.topology)) << c.region << c.topology;
        EXPECT_EQ(c.left, stored(kCorvaneConf, "CORVANE_REGION_ID")) << c.region << c.topology;
        EXPECT_EQ(c.code == 0 ? 0U : 1U, 1 - lines_of(log, "ERROR").empty()) << c.region << c.topology;
    }
    const ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(0, corvane::resolve_auto_region("")) << "an unreadable region is none to resolve";
}

}  // namespace
}  // namespace harbex::test
