#include "corvane/cloud/region_list.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

Outcome list_of(const std::string& organization) {
    return on_document([&](JsonValue& regions) { return corvane::get_region_list(regions, organization); });
}
Outcome list() {
    return list_of("org-7f3a1c");
}

using RegionList = SignedInNas;

TEST_F(RegionList, ComesWithAFreshTokenOfTheGivenOrganization) {
    const std::string before = corvane_token();
    LogReader log;
    EXPECT_EQ(R"(0 [{"groupId":"grp-north","groupName":"North","hubs":[]},{"groupId":"grp-east","groupName":"East",)"
              R"("hubs":[{"device_name":"hub-east-1","public_ip":"198.51.100.21"}]}])",
              list_of("org-b41d92").text());
    EXPECT_NE(before, corvane_token());
    const std::vector<std::string> sent = request_texts();
    ASSERT_EQ(2U, sent.size());
    EXPECT_TRUE(sent[0].ends_with(R"({"orgId": "org-b41d92"})")) << sent[0];
    const std::string lines = log.text();
    EXPECT_TRUE(lines.starts_with("INFO get corvane token for orgId: org-b41d92\n")) << lines;
    EXPECT_NE(std::string::npos, lines.find("\nINFO error is \nINFO root is 0 {\"data\":{\"vpnGroups\":[")) << lines;
    expect_faults("cloud:/corvane/bthings/api/v1/vpn_topology", list,
                  {{R"(body:{"data":{"vpnGroups":[]}})", 0, "[]", ""},
                   {R"(body:{"data":{"vpnGroups":{}}})", 49, kKept, "vpnGroups is not an array"},
                   {R"(body:{"data":{"vpngroups":[]}})", 49, kKept, "Failed to get vpnGroups: key not found"},
                   {R"(body:{"data":[]})", 49, kKept, "Failed to get data"},
                   {R"(body:[{"data":{"vpnGroups":[]}}])", 76, kKept, "Failed to parse vpn_groups response"},
                   {"body:{", 49, kKept, "Failed to parse JSON: " + parser_text("{")},
                   {"status:500", 76, kKept, "Failed to call corvane api vpn groups"}});
    expect_faults("cloud:/cvnms/nmsuser/api/v1/edge/login", list,
                  {{"status:403", 64, kKept, "Failed to get corvane token"}});
    EXPECT_EQ("0", stored(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN")) << "stays given up";
    expect_faults(
        kSetcfg, list,
        {{"CORVANE_TOKEN_LAST_SEEN", 31, kKept, "Failed to invalidate cached corvaneToken in corvane.conf"}});
    EXPECT_EQ("", requests());
}

}  // namespace
}  // namespace harbex::test
