#include "corvane/cloud/region_list.h"

#include "common/error_code.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

using Lines = std::vector<std::string>;

class RegionList : public SignedInNas {
protected:
    static std::string list(const std::string& organisation = "org-7f3a1c") {
        JsonValue regions;
        regions = "before";
        const int code = corvane::get_region_list(regions, organisation);
        return std::to_string(code) + " " + text_of(regions);
    }
};

TEST_F(RegionList, ComesWithAFreshTokenOfTheGivenOrganization) {
    const std::string before = corvane_token();
    TraceReader log;
    EXPECT_EQ(R"(0 [{"groupId":"grp-north","groupName":"North","hubs":[]},{"groupId":"grp-east","groupName":"East",)"
              R"("hubs":[{"device_name":"hub-east-1","public_ip":"198.51.100.21"}]}])",
              list("org-b41d92"));
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(2U, records.size());
    EXPECT_EQ(R"({"orgId": "org-b41d92"})", at(records[0].get(), {"body"}));
    EXPECT_EQ("/corvane/bthings/api/v1/vpn_topology", at(records[1].get(), {"target"}));
    EXPECT_NE(before, corvane_token());
    const Lines lines = log.lines();
    EXPECT_EQ("INFO get corvane token for orgId: org-b41d92", lines.front());
    ASSERT_GT(lines.size(), 2U);
    EXPECT_EQ("INFO error is ", lines[lines.size() - 2]);
    EXPECT_TRUE(lines.back().starts_with(R"(INFO root is 0 {"data":{"vpnGroups":[)")) << lines.back();
}

TEST_F(RegionList, FailsWithTheCodeOfItsStep) {
    const struct {
        const char* fault;
        const char* outcome;
        std::string error;
    } cases[] = {
        {R"(body:{"data":{"vpnGroups":[]}})", "0 []", ""},
        {R"(body:{"data":{"vpnGroups":{}}})", R"(49 "before")", "vpnGroups is not an array"},
        {R"(body:{"data":{"vpngroups":[]}})", R"(49 "before")", "Failed to get vpnGroups: key not found"},
        {R"(body:{"data":[]})", R"(49 "before")", "Failed to get data"},
        {R"(body:[{"data":{"vpnGroups":[]}}])", R"(76 "before")", "Failed to parse vpn_groups response"},
        {"body:{", R"(49 "before")", "Failed to parse JSON: " + parser_text("{")},
        {"status:500", R"(76 "before")", "Failed to call corvane api vpn groups"},
        {"close", R"(76 "before")", "Failed to call corvane api vpn groups"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        const Fault fault("cloud:/corvane/bthings/api/v1/vpn_topology", c.fault);
        EXPECT_EQ(c.outcome, list()) << c.fault;
        EXPECT_EQ(c.error, last_error(log)) << c.fault;
    }
    {
        const Fault fault("cloud:/cvnms/nmsuser/api/v1/edge/login", "status:403");
        EXPECT_EQ(R"(64 "before")", list());
        EXPECT_EQ("Failed to get corvane token", last_error(log));
        EXPECT_EQ("0", stored(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN")) << "stays given up";
    }
    begin();
    const ReplacedTool tool("/sbin/setcfg", setcfg_without("CORVANE_TOKEN_LAST_SEEN"));
    EXPECT_EQ(R"(31 "before")", list());
    EXPECT_EQ("Failed to invalidate cached corvaneToken in corvane.conf", last_error(log));
    EXPECT_EQ(Lines{}, requests());
}

}  // namespace
}  // namespace harbex::test
