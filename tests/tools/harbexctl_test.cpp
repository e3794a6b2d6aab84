// harbexctl as people and scripts run it.
#include <regex>

#include "support/nas.h"

namespace harbex::test {
namespace {

class Harbexctl : public SignedInNas {
protected:
    static Finished control(const std::string& words) { return shell("harbexctl " + words); }
};

TEST_F(Harbexctl, MisuseEndsWith64AndRunsNothing) {
    const char* const cases[] = {
        "",         "bogus",   "org",       "org bogus",         "org list create X", "status join", "status x",
        "tour set", "--bogus", "--json=no", "sign-in one other", "virtual-ip set",    "region use",
    };
    for (const char* words : cases) {
        const Finished run = control(words);
        EXPECT_EQ(64, run.status) << words;
        EXPECT_EQ("", run.out) << words;
        EXPECT_NE("", run.err) << words;
    }
    EXPECT_EQ("", requests());
    EXPECT_EQ("harbexctl: there is no command 'bogus' here\nharbexctl --help tells what can be done.\n",
              control("org bogus").err);
    const Finished help = control("org --help");
    EXPECT_EQ(0, help.status);
    EXPECT_NE(std::string::npos, help.out.find("create"));
}

TEST_F(Harbexctl, TellsCodeAndWordsOfEachOutcome) {
    const struct {
        const char* command;
        int status;
        const char *out, *err;
    } cases[] = {
        {"tour set TRUE no", 1, "", "harbexctl tour set: 'no' is neither true nor false.\n"},
        {"tour set TRUE False", 0, "done\n", ""},
        {"tour show", 0, "Introduction  no\nTips          no\n", ""},
        {"tour show --json", 0,
         "{\"command\":\"tour show\",\"code\":0,\"message\":\"done\","
         "\"data\":{\"feature_intro\":false,\"feature_tip\":false}}\n",
         ""},
        {"org list", 0,
         "Name            Id          Default\n"
         "Field Office    org-7f3a1c  yes\n"
         "Field Workshop  org-b41d92  no\n",
         ""},
        {"supernode devices", 0, "Device id   Device name  Usage\ndev-000001  harbex-nas   10737418240\n", ""},
        {"internet lo", 1, "Interface  lo\nReachable  no\n",
         "harbexctl internet: The network manager (NetworkService) answered: The interface is down or has no default "
         "route (error 1).\n"},
        {"virtual-ip set 192.168.1.99", 1, "",
         "harbexctl virtual-ip set: The address clashes with a network of this NAS.\n"},
        {"sign-in /nowhere", 74, "", "harbexctl sign-in: The file cannot be read: No such file or directory.\n"},
        {"supernode apply /etc", 74, "", "harbexctl supernode apply: The file cannot be read: Is a directory.\n"},
        {"sign-in <<<'no answer of the cloud'", 1, "",
         "harbexctl sign-in: The daemon (harbex_network_service) answered: Failed to save cloud token (error "
         "1010).\n"},
        {"sign-in /dev/zero", 74, "", "harbexctl sign-in: The file cannot be read: File too large.\n"},
        {"sign-in a secret-answer", 64, "",
         "harbexctl: there are too many arguments\nharbexctl --help tells what can be done.\n"},
        {"tour show >/dev/full", 1, "", "harbexctl: the outcome cannot be written: No space left on device\n"},
        {"org use org-none", 1, "", "harbexctl org use: 'org-none' is none of the user's organisations.\n"},
    };
    for (const auto& c : cases) {
        const Finished run = control(c.command);
        EXPECT_EQ(c.status, run.status) << c.command;
        EXPECT_EQ(c.out, run.out) << c.command;
        const std::string shown = run.err.substr(0, run.err.find("\n  ") + 1);  // the rest is advice
        EXPECT_EQ(c.err, shown.empty() ? run.err : shown) << c.command;
    }
    EXPECT_EQ("org-7f3a1c", stored(kCorvaneConf, "CORVANE_ORG_ID")) << "an id that is none changes nothing";
}

TEST_F(Harbexctl, WhatTheCloudSendsDoesNotSteerTheTerminal) {
    const Fault fault("cloud:/v1.2/organization",
                      R"(body:{"result":[{"name":"\u001b[2J\n\u009bx\u00a0","organization_id":"1"}]})");
    EXPECT_EQ("Name       Id  Default\n?[2J???x\u00a0  1   no\n", control("org list").out);
}

TEST_F(Harbexctl, ChangingTheOrganisationForgetsItsTokenAndLeavingNamesTheTransfer) {
    // Both tokens are the daemon's then.
    ASSERT_EQ(0, control("region use auto && harbexctl join && harbexctl region list").status);
    {
        const Fault fault("cloud:/cvnms/bthings/api/v1/edge", "refuse");
        const std::string told = control("leave --json").out;
        EXPECT_NE(std::string::npos, told.find("\"code\":7,\"message\":\"Couldn't connect to server\"")) << told;
    }
    ASSERT_EQ(0, control("leave && harbexctl org use org-b41d92").status);
    (void)requests();
    ASSERT_EQ(0, control("region use auto && harbexctl join && harbexctl leave").status);
    const std::string seen = requests();
    EXPECT_NE(std::string::npos, seen.find("/edge/login")) << seen;
    {
        ASSERT_EQ(0, control("join").status);
        const ReplacedTool agent("/etc/init.d/corvane_cloudagent.sh", "exit 1");
        EXPECT_EQ(1, control("leave").status);
        (void)requests();
    }
    replace_in(kCorvaneConf, "CORVANE_ORG_ID = org-b41d92\n", "");
    EXPECT_EQ(78, control("region list").status);
    EXPECT_EQ("", requests());
}

TEST_F(Harbexctl, LeaveFinishesWhatTheCloudAlreadyForgot) {
    ASSERT_EQ(0, control("join").status);
    EXPECT_EQ("grp-east", stored(kCorvaneConf, "CORVANE_REGION_NAME")) << "the name follows what \"auto\" came to";
    (void)requests();
    EXPECT_EQ(1, control("org use org-b41d92").status);
    EXPECT_EQ("org-7f3a1c grp-east",
              stored(kCorvaneConf, "CORVANE_ORG_ID") + " " + stored(kCorvaneConf, "CORVANE_REGION_ID"));
    EXPECT_EQ("", requests()) << "a joined NAS keeps its organisation";
    for (const char* refusal : {"status:401", "status:403", "status:503", "delay:11"}) {
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
          "org list", "org create Another", "org use org-7f3a1c", "region list", "region use auto", "join", "status",
          "precheck", "virtual-ip set 10.8.0.44", "supernode usage", "supernode traffic", "internet", "leave"}) {
        const Finished run = control(words + std::string(words[0] == 'j' || words[0] == 'l' ? " --json" : ""));
        EXPECT_FALSE(std::regex_search(run.out + run.err, token)) << words << "\n" << run.out << run.err;
        EXPECT_EQ(std::string::npos, (run.out + run.err).find(answer)) << words;
        failed += run.status == 0 ? 0 : 1;
    }
    EXPECT_EQ(1U, failed) << "the answer in the file's place";
}

}  // namespace
}  // namespace harbex::test
