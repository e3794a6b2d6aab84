#include "corvane/cloud/region_list.h"

#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

std::string list_of(const std::string& organization) {
    return on_document([&](JsonValue& regions) { return corvane::get_region_list(regions, organization); });
}
constexpr auto list = [] { return list_of("org-7f3a1c"); };
constexpr const char* kFailed = R"(49 {"kept":1})";

using RegionList = SignedInNas;

TEST_F(RegionList, ComesWithAFreshTokenOfTheGivenOrganization) {
    const std::string before = corvane_token();
    TraceReader log;
    EXPECT_EQ(R"(0 [{"groupId":"grp-north","groupName":"North","hubs":[]},{"groupId":"grp-east","groupName":"East",)"
              R"("hubs":[{"device_name":"hub-east-1","public_ip":"198.51.100.21"}]}])",
              list_of("org-b41d92"));
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(2U, records.size());
    EXPECT_EQ(R"({"orgId": "org-b41d92"})", at(records[0].get(), {"body"}));
    EXPECT_EQ("/corvane/bthings/api/v1/vpn_topology", at(records[1].get(), {"target"}));
    EXPECT_NE(before, corvane_token());
    const std::string lines = lines_of(log);
    EXPECT_TRUE(lines.starts_with("INFO get corvane token for orgId: org-b41d92\n")) << lines;
    EXPECT_NE(std::string::npos, lines.find("\nINFO error is \nINFO root is 0 {\"data\":{\"vpnGroups\":[")) << lines;
}

TEST_F(RegionList, FailsWithTheCodeOfItsStep) {
    expect_faults(
        "cloud:/corvane/bthings/api/v1/vpn_topology", list,
        {
            {R"(body:{"data":{"vpnGroups":[]}})", "0 []", ""},
            {R"(body:{"data":{"vpnGroups":{}}})", kFailed, "vpnGroups is not an array"},
            {R"(body:{"data":{"vpngroups":[]}})", kFailed, "Failed to get vpnGroups: key not found"},
            {R"(body:{"data":[]})", kFailed, "Failed to get data"},
            {R"(body:[{"data":{"vpnGroups":[]}}])", R"(76 {"kept":1})", "Failed to parse vpn_groups response"},
            {"body:{", kFailed, "Failed to parse JSON: " + parser_text("{")},
            {"status:500", R"(76 {"kept":1})", "Failed to call corvane api vpn groups"},
        });
    expect_faults("cloud:/cvnms/nmsuser/api/v1/edge/login", list,
                  {{"status:403", R"(64 {"kept":1})", "Failed to get corvane token"}});
    EXPECT_EQ("0", stored(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN")) << "stays given up";
    begin();
    TraceReader log;
    const ReplacedTool tool("/sbin/setcfg", failing_for("setcfg", "CORVANE_TOKEN_LAST_SEEN"));
    EXPECT_EQ(R"(31 {"kept":1})", list());
    EXPECT_EQ("Failed to invalidate cached corvaneToken in corvane.conf", lines_of(log, "ERROR"));
    EXPECT_EQ("", requests());
}

}  // namespace
}  // namespace harbex::test
