#include "corvane/cloud/org_center.h"

#include "common/json_owner.h"
#include "support/nas.h"

namespace harbex::test {
namespace {

constexpr const char* kOrganizationFault = "cloud:/v1.2/organization";

Outcome list() {
    return on_document(corvane::get_organization_list);
}
Outcome create() {
    return on_text([](std::string& id) { return corvane::create_organization("n", id); });
}
Outcome ask_account() {
    return on_text(corvane::account_center_api_me, "");
}
Outcome store_contact() {
    const int code = corvane::set_corvane_bid_conf();
    return {code,
            stored(kBidConf, "DISPLAY_NAME") + "," + stored(kBidConf, "EMAILS") + "," + stored(kBidConf, "REGION")};
}
Outcome store_site() {
    const int code = corvane::set_site_id("org-b41d92");
    return {code, stored(kCorvaneConf, "CORVANE_SITE_ID")};
}

using OrgCenter = SignedInNas;

TEST_F(OrgCenter, ListsOrganizations) {
    EXPECT_EQ(R"(0 [{"name":"Field Office","organization_id":"org-7f3a1c","is_default":true},)"
              R"({"name":"Field Workshop","organization_id":"org-b41d92","is_default":false}])",
              list().text());
    const std::string head =
        " org-center.harbex.example/v1.2/organization\naccept: application/json\nAuthorization: Bearer ";
    EXPECT_EQ(std::vector{"GET" + head + vellum_token() + "\n"}, request_texts());
    expect_faults(kOrganizationFault, list,
                  {{R"(body:{"result":[{"name":1,"organization_id":null,"created_by":{"is_default":"true"}}]})", 0,
                    R"([{"name":1,"organization_id":null,"is_default":false}])", ""},
                   {"status:401", 51, kKept, "Failed to fetch organization list, easycurl error: 82"}});

    // A user without organisations gets one.
    const JsonOwner before = parse(shell("cloudctl state").out);
    shell("cloudctl set '{\"organizations\": []}'");
    EXPECT_EQ("0 [{\"name\":\"My Organization\",\"organization_id\":\"org-" + at(before.get(), {"next_number"}) +
                  "\",\"is_default\":true}]",
              list().text());
    EXPECT_EQ("POST" + head + vellum_token() +
                  "\nContent-Type: application/json\n{\"name\": \"My Organization\", \"size\": \"5~9\"}",
              request_texts().back());
    const std::string kept = json_dump_text(json_object_get(before.get(), "organizations"), 0);
    EXPECT_EQ(0, shell("cloudctl set '{\"organizations\": " + kept + "}'").status);
}

TEST_F(OrgCenter, KeepsTheAccountsRecord) {
    const std::string before = "Ada Field,ada.field@harbex.example,GLB";
    expect_faults(
        "cloud:/v1.1/me", store_contact,
        {{R"(body:{"result":{"display_name":"E \"v\"","email":"e@x","site":"GLOBAL"}})", 0, "E \"v\",e@x,GLB", ""},
         {R"(body:{"result":{"display_name":"Eva","email":"","site":"CN"}})", 60, before,
          "Failed to get display_name, email, site"},
         {"status:503", 51, before, "Failed to call account center api /v1.1/me"}});
    set_setting(kBidConf, "EMAILS", "old");
    {
        const Broken tool(kSetcfg, "DISPLAY_NAME");
        EXPECT_EQ("60 Ada Field,old,GLB", store_contact().text()) << "nothing behind the name is stored";
    }
    expect_faults("cloud:/v1.1/me", ask_account,
                  {{"refuse", 85, "", "Operation timed out"},
                   {"status:404,body:no", 51, "no", "CURL error: Failed to load CRL file"}});
    begin();
    EXPECT_EQ("0 ada.field@harbex.example", on_text(corvane::get_contact_email).text());
    EXPECT_EQ("", requests()) << "a stored one is not asked for";
    set_setting(kBidConf, "EMAILS", "");
    EXPECT_EQ("0 ada.field@harbex.example", on_text(corvane::get_contact_email).text());
    EXPECT_EQ("GET /v1.1/me", requests());
}

TEST_F(OrgCenter, StoresTheFirstSiteAndTheNewId) {
    expect_faults(kOrganizationFault, create,
                  {{R"(body:{"code":0,"result":{"organization_id":"o"}})", 0, "o", ""},
                   {R"(body:{"code":"0"})", 51, "before", "Failed to create organization, code: 0"}});
    begin();
    EXPECT_EQ("0 site-5cc713", store_site().text()) << "the real tool";
    expect_faults("/usr/local/bin/vellum_organization_tool", store_site,
                  {{R"(body:{"result":[]})", 49, "site-29b0e4", "No results found in JSON response"}});
    begin();
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    EXPECT_EQ("60 ", ask_account().text());
    EXPECT_EQ("63 before", create().text());
    EXPECT_EQ("", requests()) << "without a token nobody is asked for anything";
}

}  // namespace
}  // namespace harbex::test
