// harbexctl as people and scripts run it.
#include <regex>

#include "support/nas.h"

namespace harbex::test {
namespace {

class Harbexctl : public SignedInNas {
protected:
    void SetUp() override {
        begin();
        // Leaving stops it.
        ASSERT_EQ(0, shell("appliance-service start corvane_expressd").status);
    }
    static Finished control(const std::string& words) { return shell("harbexctl " + words); }
    // `harbexctl --json WORDS`: its exit status, and what the filter makes of it, held to the schema when it is the
    // status.
    static std::string told(const std::string& words, const std::string& filter) {
        const Finished run = control("--json " + words + " >/tmp/document");
        if (words.starts_with("status")) {
            const Finished check =
                shell("python3 -W ignore -m jsonschema -i /tmp/document /usr/local/share/harbex/status.schema.json");
            EXPECT_EQ(0, check.status) << check.err << read_text("/tmp/document");
        }
        const std::string text = shell("jq -rc '" + filter + "' /tmp/document").out;
        return std::to_string(run.status) + " " + text.substr(0, text.find('\n'));
    }
};

TEST_F(Harbexctl, MisuseEndsWith64AndRunsNothing) {
    const char* const cases[] = {
        "", "bogus", "org", "org bogus", "status x", "tour set", "--bogus", "--json=no", "sign-in a secret-answer",
    };
    for (const char* words : cases) {
        const Finished run = control(words);
        EXPECT_EQ(64, run.status) << words;
        EXPECT_EQ("", run.out) << words;
        EXPECT_EQ(std::string::npos, run.err.find("secret")) << words;
    }
    EXPECT_EQ("", requests());
}

TEST_F(Harbexctl, TellsCodeAndWordsOfEachOutcome) {
    const struct {
        const char* command;
        int status;
        const char *out, *err;
    } cases[] = {
        {"tour set TRUE False", 0, "done\n", ""},
        {"tour set true maybe", 1, "", "harbexctl tour set: 'maybe' is neither true nor false.\n"},
        {"tour show --json", 0,
         "{\"command\":\"tour show\",\"code\":0,\"message\":\"done\","
         "\"data\":{\"feature_intro\":false,\"feature_tip\":false}}\n",
         ""},
        {"org list", 0,
         "Name            Id          Default\n"
         "Field Office    org-7f3a1c  yes\n"
         "Field Workshop  org-b41d92  no\n",
         ""},
        {"virtual-ip set 192.168.1.99", 1, "",
         "harbexctl virtual-ip set: The address clashes with a network of this NAS.\n"},
        {"sign-in /nowhere", 74, "", "harbexctl sign-in: The file cannot be read: No such file or directory.\n"},
        {"sign-in /dev/zero", 74, "", "harbexctl sign-in: The file cannot be read: File too large.\n"},
        {"tour show >/dev/full", 1, "", "harbexctl: the outcome cannot be written: No space left on device\n"},
    };
    for (const auto& c : cases) {
        const Finished run = control(c.command);
        EXPECT_EQ(c.status, run.status) << c.command;
        EXPECT_EQ(c.out, run.out) << c.command;
        const std::string shown = run.err.substr(0, run.err.find("\n  ") + 1);  // the rest is advice
        EXPECT_EQ(c.err, shown.empty() ? run.err : shown) << c.command;
    }
}

TEST_F(Harbexctl, WhatTheCloudSendsDoesNotSteerTheTerminal) {
    const Fault fault("cloud:/v1.2/organization",
                      R"(body:{"result":[{"name":"\u001b[2J\n\u009bx\u00a0","organization_id":"1"}]})");
    EXPECT_EQ("Name       Id  Default\n?[2J???x\u00a0  1   no\n", control("org list").out);
}

TEST_F(Harbexctl, ChangingTheOrganisationForgetsItsToken) {
    ASSERT_EQ(0, control("org use org-b41d92").status);
    (void)requests();
    ASSERT_EQ(0, control("region use auto && harbexctl join && harbexctl leave").status);
    const std::string seen = requests();
    EXPECT_NE(std::string::npos, seen.find("/edge/login")) << seen;
}

TEST_F(Harbexctl, LeaveFinishesWhatTheCloudAlreadyForgot) {
    ASSERT_EQ(0, control("join").status);
    EXPECT_EQ("grp-east", stored(kCorvaneConf, "CORVANE_REGION_NAME")) << "the name follows what \"auto\" came to";
    EXPECT_EQ(1, control("org use org-b41d92").status);
    EXPECT_EQ("org-7f3a1c", stored(kCorvaneConf, "CORVANE_ORG_ID")) << "a joined NAS keeps its organisation";
    for (const char* refusal : {"status:401", "delay:11"}) {
        const Fault fault("cloud:/cvnms/bthings/api/v1/devices/*", refusal);
        EXPECT_EQ(refusal[0] == 's' ? 76 : 75, control("leave").status) << refusal;
        EXPECT_TRUE(std::filesystem::exists(kAgentLink)) << refusal;
    }
    {
        const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", "exit 1");
        EXPECT_EQ(1, control("leave").status);
    }
    EXPECT_EQ(0, control("leave").status) << "the cloud says 404 now";
    EXPECT_FALSE(std::filesystem::exists(kAgentLink));
    EXPECT_EQ("", stored(kBidConf, "bid_token_status"));
}

TEST_F(Harbexctl, SignInForgetsTheFormerSdWanToken) {
    replace_in(kCorvaneConf, "CORVANE_TOKEN = ", "CORVANE_TOKEN = revoked");
    shell("signin | harbexctl sign-in");
    EXPECT_EQ("0", stored(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN"));
    EXPECT_EQ(0, control("join && harbexctl leave").status) << "with the revoked one it could not";
}

TEST_F(Harbexctl, ShowsNoToken) {
    shell("signin >/tmp/answer");
    const std::string answer = read_text("/tmp/answer").substr(0, 60);
    const std::regex token("(va1\\.|vr1-|ct1-|dt1-)[0-9a-f]{4}");
    size_t failed = 0;
    for (const char* words :
         {"sign-in /tmp/answer", "sign-in - </tmp/answer", "sign-in \"$(cat /tmp/answer)\"", "token refresh",
          "org list", "region use auto", "join", "status", "supernode usage", "leave"}) {
        const Finished run = control(words + std::string(words[0] == 'j' || words[0] == 'l' ? " --json" : ""));
        EXPECT_FALSE(std::regex_search(run.out + run.err, token)) << words << "\n" << run.out << run.err;
        EXPECT_EQ(std::string::npos, (run.out + run.err).find(answer)) << words;
        failed += run.status == 0 ? 0 : 1;
    }
    EXPECT_EQ(1U, failed) << "the answer in the file's place";
}

TEST_F(Harbexctl, EachHasItsWordItsSentenceAndItsExitStatuses) {
    const struct {
        const char *state, *make, *mend;
        int status;
        const char* sentence;
        const char* command = nullptr;
        const char* told = nullptr;  // exit status, code and sentence
    } cases[] = {
        {"organisation-chosen", ":", ":", 0, "The organisation Field Office is chosen; this NAS has not joined it."},
        {"signed-in", "setcfg 'Join Corvane' CORVANE_ORG_ID '' -f /etc/config/harbex/corvane.conf", ":", 0,
         "Somebody is signed in; no organisation is chosen.", "region list", "78 36 No organisation is chosen."},
        {"factory", "rm /etc/config/harbex/bid.conf", ":", 0, "Nobody is signed in at this NAS.", "org list",
         "77 63 Nobody is signed in at this NAS."},
        {"sign-in-expired", "signin --expires-in -500000 | harbexctl sign-in; fault cloud:/oauth2/refresh status:401",
         "fault cloud:/oauth2/refresh none", 0, "The sign-in has expired (", "org list",
         "77 63 The sign-in expired ("},
        {"organisation-chosen", "fault cloud:/v1.2/organization status:503", "fault cloud:/v1.2/organization none", 0,
         "The", "org list", "76 51 The cloud refused: org-center.harbex.example answered with HTTP status 503."},
        {"daemon-down", "appliance-service stop harbex_network_service",
         "appliance-service start harbex_network_service", 69,
         "The daemon (harbex_network_service) is not running; nothing can be asked of the cloud.", "org list",
         "69 63 The daemon (harbex_network_service) is not running."},
        {"daemon-down", "pkill -STOP -x harbex_network_", "pkill -CONT -x harbex_network_", 75,
         "The daemon (harbex_network_service) does not answer; nothing can be asked of the cloud.", "join",
         "75 63 The daemon (harbex_network_service) does not answer."},
        {"manager-down", "appliance-service stop NetworkService", "appliance-service start NetworkService", 69,
         "The network manager (NetworkService) is not running; the gateway is unknown.", "virtual-ip set 10.8.0.9",
         "69 60 The network manager (NetworkService) is not running."},
        {"edge-down", "appliance-service stop corvane_expressd", "appliance-service start corvane_expressd", 0,
         "The edge daemon (corvane_expressd) is not running; a join starts it.", "supernode traffic",
         "69 60 The edge daemon (corvane_expressd) is not running."},
        {"joined", "harbexctl join", "harbexctl leave; appliance-service start corvane_expressd", 0,
         "This NAS has joined Field Office, and its tunnels are up."},
        {"joined-down", "harbexctl join; edge_state change '{\"tunnels\": {\"router\": null, \"supernode\": null}}'",
         "harbexctl leave; appliance-service start corvane_expressd", 0,
         "This NAS has joined Field Office, but no tunnel is up."},
        {"edge-down", "harbexctl join; pkill -STOP -x corvane_express",
         "pkill -CONT -x corvane_express; harbexctl leave; appliance-service start corvane_expressd", 75,
         "The edge daemon (corvane_expressd) does not answer; no tunnel is up."},
    };
    for (const auto& c : cases) {
        SetUp();
        ASSERT_EQ(0, shell(c.make).status) << c.make;
        const std::string expected = std::to_string(c.status) + " " + c.state + " " + c.sentence;
        const std::string status = told("status --timeout 2", R"(.data | [.state, .sentence] | join(" "))");
        EXPECT_EQ(expected, status.substr(0, expected.size())) << c.make;
        if (c.command != nullptr) {
            const std::string seen = told(c.command, R"([.code, .cause.sentence] | join(" "))");
            EXPECT_TRUE(seen.starts_with(c.told)) << c.make << ", " << c.command << ": " << seen;
        }
        EXPECT_EQ(0, shell(c.mend).status) << c.mend;
    }
}

TEST_F(Harbexctl, SayWhatTheyWouldDoAndDoNothingTwice) {
    const std::string before = read_text(kCorvaneConf);
    (void)requests();
    EXPECT_NE(std::string::npos, control("join --dry-run").out.find("request  POST https://corvane-api"));
    EXPECT_EQ(R"(0 {"changed":false})", told("leave", ".data"));
    EXPECT_EQ("", requests());
    EXPECT_EQ(before, read_text(kCorvaneConf));
    ASSERT_EQ(0, control("join").status);
    shell("rm /var/log/scripts.log; signin --expires-in -5 | harbexctl sign-in");
    (void)requests();
    EXPECT_EQ(R"(0 {"changed":false,"virtual_ip":"10.8.0.21"})", told("join", ".data"));
    EXPECT_EQ("0 4", told("leave --local --dry-run", ".data.plan | length"));
    EXPECT_EQ("", requests() + read_text("/var/log/scripts.log"));
}

TEST_F(Harbexctl, AFailureTellsWhatWasDoneAndWhatIsLeft) {
    {
        const ReplacedTool script("/etc/init.d/corvane_express.sh", "exit 1");
        EXPECT_EQ(R"(1 [67,3,"Start the edge daemon","Start the cloud agent"])",
                  told("join", "[.code, (.cause.done | length)] + .cause.undone"));
    }
    EXPECT_EQ(75, shell("appliance-service stop corvane_expressd; harbexctl wait --for tunnels --timeout 1").status);
}

TEST_F(Harbexctl, LeavesWithoutTheCloud) {
    ASSERT_EQ(0, control("join").status);
    const Fault fault("cloud:*", "refuse");
    EXPECT_EQ(76, control("leave").status);
    EXPECT_EQ(R"(0 {"changed":true,"left_in_cloud":{"device_id":"dev-","organization_id":"org-7f3a1c"}})",
              told("leave --local", R"(.data | .left_in_cloud.device_id |= .[:4])"));
    EXPECT_FALSE(std::filesystem::exists(kAgentLink));
    EXPECT_EQ("", stored(kBidConf, "bid_token_status"));
    EXPECT_EQ("10.8.0.21 serial grp-east - ", enrolment());
}

TEST_F(Harbexctl, TheArchiveHoldsNoCanary) {
    ASSERT_EQ(0, shell("harbexctl join").status);
    const std::string path = "/opt/harbex/var/log/";
    const std::string canary = "Canary7yellow";
    for (const char* file : {kBidConf, kCorvaneConf}) {
        const std::string text = read_text(file);
        write_text(file, std::regex_replace(text, std::regex("(\\w+) = .+"), "$1 = " + canary) + canary + " = x\n" +
                             "[" + canary + "]\n");
    }
    const std::string trace = read_text(path + "Harbex.log");
    const std::string head = trace.substr(0, trace.find('['));
    for (const char* name : {"Harbex.log", "Harbex.log.1", "harbex_network_service.log"}) {
        const std::string log = read_text(path + name) + head + "[INFO] " + canary + " [1] " + canary +
                                ":token: " + canary + " 12 failed {\"" + canary +
                                "\":1}\n[2026-11-22 03:00:00][DEBUG] plaintext: " + canary + "\n[" + canary +
                                "][DEBUG] x\n" + canary + "\n";
        write_text(path + name, log);
    }
    ASSERT_EQ(
        0,
        shell("rm -rf /tmp/b; mkdir /tmp/b; harbexctl bundle /tmp/b/b.tar && tar xf /tmp/b/b.tar -C /tmp/b").status);
    EXPECT_EQ("600\n", shell("stat -c %a /tmp/b/b.tar").out);
    EXPECT_EQ("", shell("grep -ra -e " + canary + " -e dev-1 -e 10.8.0 /tmp/b").out);
    const std::string lines = shell("cat /tmp/b/harbex-bundle/logs/Harbex.log.1").out;
    EXPECT_EQ(head + "[INFO] … [1] token: … 12 failed …\n[2026-11-22 03:00:00][DEBUG] plaintext: …\n", lines)
        << "time, level, place, numbers and the words of the sources";
    EXPECT_EQ(74, shell("harbexctl bundle /tmp/b/b.tar").status) << "nothing is overwritten";
}

}  // namespace
}  // namespace harbex::test
