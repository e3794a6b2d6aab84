#include "corvane/cloud/region_list.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

Outcome list() {
    return on_document([](JsonValue& regions) { return corvane::get_region_list(regions, "org-b41d92"); });
}

using RegionList = SignedInNas;

TEST_F(RegionList, ComesWithAFreshTokenOfTheGivenOrganization) {
    const std::string before = corvane_token();
    EXPECT_EQ(R"(0 [{"groupId":"grp-north","groupName":"North","hubs":[]},{"groupId":"grp-east","groupName":"East",)"
              R"("hubs":[{"device_name":"hub-east-1","public_ip":"198.51.100.21"}]}])",
              list().text());
    EXPECT_NE(before, corvane_token());
    const std::vector<std::string> sent = request_texts();
    ASSERT_EQ(2U, sent.size());
    EXPECT_TRUE(sent[0].ends_with(R"({"orgId": "org-b41d92"})")) << sent[0];
    expect_faults("cloud:/corvane/bthings/api/v1/vpn_topology", list,
                  {{R"(body:[{"data":{"vpnGroups":[]}}])", 76, kKept, "Failed to parse vpn_groups response"},
                   {"status:500", 76, kKept, "Failed to call corvane api vpn groups"}});
    expect_faults("cloud:/cvnms/nmsuser/api/v1/edge/login", list,
                  {{"status:403", 64, kKept, "Failed to get corvane token"}});
    EXPECT_EQ("0", stored(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN")) << "stays given up";
    expect_faults(
        kSetcfg, list,
        {{"CORVANE_TOKEN_LAST_SEEN", 31, kKept, "Failed to invalidate cached corvaneToken in corvane.conf"}});
}

}  // namespace
}  // namespace harbex::test
