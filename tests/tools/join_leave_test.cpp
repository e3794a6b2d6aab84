// Values that are refused, and the way in and out of an organisation.
#include "support/nas.h"

namespace harbex::test {
namespace {

class JoinLeave : public SignedInNas {
protected:
    void SetUp() override {
        begin();
        // Leaving stops it.
        ASSERT_EQ(0, shell("appliance-service start corvane_expressd").status);
    }
    static Finished control(const std::string& words) { return shell("harbexctl " + words); }
    static std::string told(const std::string& words, const std::string& filter) {
        const Finished run = shell("harbexctl --json " + words + " | jq -c '" + filter + "'");
        return run.out.substr(0, run.out.find('\n'));
    }
};

TEST_F(JoinLeave, ValuesAreCheckedBeforeAnythingIsWritten) {
    const struct {
        const char* command;
        int status;
    } cases[] = {
        {"virtual-ip set 0.0.0.0", 1},     {"virtual-ip set 127.0.0.1", 1},
        {"virtual-ip set 224.0.0.9", 1},   {"virtual-ip set 255.255.255.255", 1},
        {"virtual-ip set 192.168.1.9", 1}, {"virtual-ip set 10.8.0", 1},
        {"region use nowhere", 1},         {"org use org-none", 1},
        {"tour set true maybe", 1},        {"vpn kick bicycle", 1},
        {"wait --for nobody", 64},         {"status --timeout 0", 64},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.status, control(c.command).status) << c.command;
    const Fault fault("cloud:/corvane/bthings/api/v1/vpn_topology", "status:503");
    EXPECT_EQ(76, control("region use grp-north").status);
    EXPECT_EQ("auto", stored(kCorvaneConf, "CORVANE_REGION_ID"));
    EXPECT_EQ(0, control("region use grp-north --force").status);
    EXPECT_EQ("grp-north", stored(kCorvaneConf, "CORVANE_REGION_ID"));
}

TEST_F(JoinLeave, SayWhatTheyWouldDoAndDoNothingTwice) {
    const std::string before = read_text(kCorvaneConf);
    (void)requests();
    EXPECT_NE(std::string::npos, control("join --dry-run").out.find("request  POST https://corvane-api"));
    EXPECT_EQ(R"({"changed":false})", told("leave", ".data"));
    EXPECT_EQ("", requests());
    EXPECT_EQ(before, read_text(kCorvaneConf));
    EXPECT_EQ("[1/5]", control("join --verbose").err.substr(0, 5));
    shell("rm /var/log/scripts.log; signin --expires-in -5 | harbexctl sign-in");
    (void)requests();
    EXPECT_EQ(R"({"changed":false,"virtual_ip":"10.8.0.21"})", told("join", ".data"));
    EXPECT_EQ(4, std::stoi(told("leave --local --dry-run", ".data.plan | length")));
    EXPECT_EQ("", requests() + read_text("/var/log/scripts.log"));
}

TEST_F(JoinLeave, AFailureTellsWhatWasDoneAndWhatIsLeft) {
    {
        const Fault fault("cloud:/corvane/bthings/api/v1/vpn_topology", "close");
        EXPECT_EQ(R"([76,76,3,"Get the regions"])",
                  told("join", "[.code, .cause.exit_status, (.cause.done | length), .cause.undone[0]]"));
    }
    {
        const ReplacedTool script("/etc/init.d/corvane_express.sh", "exit 1");
        EXPECT_EQ(R"([67,1,3,"Start the edge daemon","Start the cloud agent"])",
                  told("join", "[.code, .cause.exit_status, (.cause.done | length)] + .cause.undone"));
    }
    EXPECT_EQ(0, control("agent start && harbexctl wait --for tunnels --timeout 20").status);
    EXPECT_EQ(75, control("wait --for joined --timeout 1; appliance-service stop corvane_expressd; "
                          "harbexctl wait --for tunnels --timeout 1")
                      .status);
}

TEST_F(JoinLeave, LeavesWithoutTheCloud) {
    ASSERT_EQ(0, control("join").status);
    const Fault fault("cloud:*", "refuse");
    EXPECT_EQ(76, control("leave").status);
    EXPECT_EQ(R"({"changed":true,"left_in_cloud":{"device_id":"dev-","organization_id":"org-7f3a1c"}})",
              told("leave --local", R"(.data | .left_in_cloud.device_id |= .[:4])"));
    EXPECT_FALSE(std::filesystem::exists(kAgentLink));
    EXPECT_EQ("", stored(kBidConf, "bid_token_status"));
    EXPECT_EQ("10.8.0.21 serial grp-east - ", enrolment());
}

TEST_F(JoinLeave, PrecheckLooksWithoutDeleting) {
    EXPECT_EQ(0, control("precheck --look").status);
    EXPECT_TRUE(std::filesystem::exists(kBidConf));
    const Finished run = control("precheck");
    EXPECT_NE(std::string::npos, run.err.find("bid.conf")) << run.err;
    EXPECT_FALSE(std::filesystem::exists(kBidConf));
}

}  // namespace
}  // namespace harbex::test
