// Every state of a NAS, made as it comes about, against what harbexctl says of it.
#include "support/nas.h"

namespace harbex::test {
namespace {

class States : public SignedInNas {
protected:
    void SetUp() override {
        begin();
        // Leaving stops it.
        ASSERT_EQ(0, shell("appliance-service start corvane_expressd").status);
    }

    // `harbexctl --json WORDS`: its exit status, and the members at `paths`, held to the schema when it is the
    // status.
    static std::string told(const std::string& words, const std::vector<std::vector<const char*>>& paths) {
        const Finished run = shell("harbexctl --json " + words + " >/tmp/document");
        if (words.starts_with("status")) {
            const Finished check =
                shell("python3 -W ignore -m jsonschema -i /tmp/document /usr/local/share/harbex/status.schema.json");
            EXPECT_EQ(0, check.status) << check.err << read_text("/tmp/document");
        }
        const std::string text = read_text("/tmp/document");
        const JsonOwner document(json_loads(text.c_str(), 0, nullptr));
        std::string all = std::to_string(run.status);
        for (const std::vector<const char*>& path : paths) {
            const json_t* value = document.get();
            for (const char* key : path)
                value = json_object_get(value, key);
            const char* const word = json_string_value(value);
            all += " " + (word != nullptr    ? word
                          : value == nullptr ? "-"
                                             : std::to_string(json_integer_value(value)));
        }
        return all;
    }
};

struct Told {
    const char* command;
    std::string ending;  // exit status, code
    const char* sentence;
};

TEST_F(States, EachHasItsWordItsSentenceAndItsExitStatuses) {
    const struct {
        const char *state, *make, *mend;
        int status;
        const char* sentence;
        std::vector<Told> told;
    } cases[] = {
        {"organisation-chosen",
         ":",
         ":",
         0,
         "The organisation Field Office is chosen; this NAS has not joined it.",
         {}},
        {"signed-in",
         "setcfg 'Join Corvane' CORVANE_ORG_ID '' -f /etc/config/harbex/corvane.conf",
         ":",
         0,
         "Somebody is signed in; no organisation is chosen.",
         {{"region list", "78 36", "No organisation is chosen."}}},
        {"factory",
         "rm /etc/config/harbex/bid.conf",
         ":",
         0,
         "Nobody is signed in at this NAS.",
         {{"org list", "77 63", "Nobody is signed in at this NAS."},
          {"join", "77 63", "Nobody is signed in at this NAS."},
          {"token refresh", "77 48", "Nobody is signed in at this NAS."}}},
        {"sign-in-expired",
         "signin --expires-in -500000 | harbexctl sign-in; fault cloud:/oauth2/refresh status:401",
         "fault cloud:/oauth2/refresh none",
         0,
         "The sign-in has expired (",
         {{"org list", "77 63", "The sign-in expired ("}}},
        {"organisation-chosen",
         "fault cloud:/v1.2/organization status:503",
         "fault cloud:/v1.2/organization none",
         0,
         "The",
         {{"org list", "76 51", "The cloud refused: org-center.harbex.example answered with HTTP status 503."}}},
        {"daemon-down",
         "appliance-service stop harbex_network_service",
         "appliance-service start harbex_network_service",
         69,
         "The daemon (harbex_network_service) is not running; nothing can be asked of the cloud.",
         {{"org list", "69 63", "The daemon (harbex_network_service) is not running."},
          {"region list", "69 64", "The daemon (harbex_network_service) is not running."},
          {"sign-in /dev/null", "69 47", "The daemon (harbex_network_service) is not running."}}},
        {"daemon-down",
         "pkill -STOP -x harbex_network_",
         "pkill -CONT -x harbex_network_",
         75,
         "The daemon (harbex_network_service) does not answer; nothing can be asked of the cloud.",
         {{"join", "75 63", "The daemon (harbex_network_service) does not answer."}}},
        {"manager-down",
         "appliance-service stop NetworkService",
         "appliance-service start NetworkService",
         69,
         "The network manager (NetworkService) is not running; the gateway is unknown.",
         {{"virtual-ip set 10.8.0.9", "69 60", "The network manager (NetworkService) is not running."}}},
        {"edge-down",
         "appliance-service stop corvane_expressd",
         "appliance-service start corvane_expressd",
         0,
         "The edge daemon (corvane_expressd) is not running; a join starts it.",
         {{"supernode traffic", "69 60", "The edge daemon (corvane_expressd) is not running."}}},
        {"joined",
         "harbexctl join",
         "harbexctl leave; appliance-service start corvane_expressd",
         0,
         "This NAS has joined Field Office, and its tunnels are up.",
         {}},
        {"joined-down",
         "harbexctl join; edge_state change '{\"tunnels\": {\"router\": null, \"supernode\": null}}'",
         "harbexctl leave; appliance-service start corvane_expressd",
         0,
         "This NAS has joined Field Office, but no tunnel is up.",
         {}},
        {"edge-down",
         "harbexctl join; pkill -STOP -x corvane_express",
         "pkill -CONT -x corvane_express; harbexctl leave; appliance-service start corvane_expressd",
         75,
         "The edge daemon (corvane_expressd) does not answer; no tunnel is up.",
         {}},
        {"organisation-chosen",
         "appliance-service stop cloud",
         "appliance-service start cloud",
         0,
         "The",
         {{"org list", "76 51",
           "The cloud cannot be reached: org-center.harbex.example: Couldn't resolve host name."}}},
    };
    for (const auto& c : cases) {
        SetUp();
        ASSERT_EQ(0, shell(c.make).status) << c.make;
        const std::string expected = std::to_string(c.status) + " " + c.state + " " + c.sentence;
        const std::string status = told("status --timeout 2", {{"data", "state"}, {"data", "sentence"}});
        EXPECT_EQ(expected, status.substr(0, expected.size())) << c.make;
        for (const Told& row : c.told) {
            const std::string seen = told(row.command, {{"code"}, {"cause", "sentence"}});
            const std::string wanted = row.ending + " " + row.sentence;
            EXPECT_EQ(wanted, seen.substr(0, wanted.size())) << c.make << ", " << row.command;
        }
        EXPECT_EQ(0, shell(c.mend).status) << c.mend;
    }
}

TEST_F(States, WhatCannotBeHadIsNamedWithItsReason) {
    const auto unavailable = [] {
        (void)told("status --timeout 3", {});
        return shell(
                   "jq -c '.data | [.unavailable, .router, .supernode.ipsec_status, .gateway, (.reasons | .[])]' "
                   "/tmp/document")
            .out;
    };
    ASSERT_EQ(0, shell("harbexctl join").status);
    shell("edge_state change '{\"tunnels\": {\"router\": {\"b\": 1}, \"supernode\": {\"supernode-1\": 0}}}'");
    {
        const Fault hubs("corvane_expressd.GetHubInfo", R"(body:{"error":0,"data":"{}"})");
        const Fault cloud("corvane_expressd.GetCloudStatus", R"(body:{"error":0,"data":"1"})");
        EXPECT_EQ(R"([["cloud_status","router","supernode"],{"ip":"","ipsec_status":2,"name":""},0,)"
                  R"({"ifname":"eth0","ip":"192.168.1.10"},"the edge daemon does not tell",)"
                  R"("the edge daemon knows of none","the edge daemon knows of none"])"
                  "\n",
                  unavailable());
    }
    const ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(R"([["is_on_corvane","org_name","region_name","virtual_ip","router","supernode"],)"
              R"({"ip":"","ipsec_status":2,"name":""},0,{"ifname":"eth0","ip":"192.168.1.10"},)"
              R"("the settings cannot be read","the settings cannot be read","the settings cannot be read",)"
              R"("the edge daemon knows of none","the edge daemon knows of none","the settings cannot be read"])"
              "\n",
              unavailable());
}

}  // namespace
}  // namespace harbex::test
