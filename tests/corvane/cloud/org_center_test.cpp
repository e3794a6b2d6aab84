#include "corvane/cloud/org_center.h"

#include "common/json_owner.h"
#include "support/nas.h"

namespace harbex::test {
namespace {

constexpr const char* kOrganizationFault = "cloud:/v1.2/organization";
const std::string kNoJson = "Failed to parse JSON: ";

Outcome list() {
    return on_document(corvane::get_organization_list);
}
Outcome create() {
    return on_text([](std::string& id) { return corvane::create_organization("n", id); });
}
Outcome contact_email() {
    return on_text(corvane::get_contact_email);
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
    const std::string incomplete = "Failed to get name or organization_id";
    expect_faults(kOrganizationFault, list,
                  {{R"(body:{"result":[{"name":1,"organization_id":null,"is_default":true}]})", 0,
                    R"([{"name":1,"organization_id":null,"is_default":false}])", ""},
                   {R"(body:{"result":[{"name":"b","organization_id":"2","created_by":{"is_default":"true"}}]})", 0,
                    R"([{"name":"b","organization_id":"2","is_default":false}])", ""},
                   {R"(body:{"result":[{"name":"a","organization_id":"1"},{"name":"b"}]})", 49, kKept, incomplete},
                   {R"(body:{"result":[{"organization_id":"1"}]})", 49, kKept, incomplete},
                   {R"(body:{"result":{}})", 49, kKept, "Failed to get result array"},
                   {"body:{", 49, kKept, kNoJson},
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
    shell("cloudctl set '{\"organizations\": []}'");
    expect_faults("cloud:#2", list, {{"status:500", 51, kKept, "Failed to create organization"}});
    EXPECT_EQ("GET /v1.2/organization\nPOST /v1.2/organization", requests());
    const std::string kept = json_dump_text(json_object_get(before.get(), "organizations"), 0);
    EXPECT_EQ(0, shell("cloudctl set '{\"organizations\": " + kept + "}'").status);
}

TEST_F(OrgCenter, JudgesACreation) {
    const std::string refused = "Failed to create organization, code: ";
    const std::string no_id = "organization_id not found or not a string";
    expect_faults(kOrganizationFault, create,
                  {{R"(body:{"code":0,"result":{"organization_id":"o"}})", 0, "o", ""},
                   {R"(body:{"code":"0","result":{"organization_id":"o"}})", 51, "before", refused + "0"},
                   {R"(body:{"code":-5})", 51, "before", refused + "-5"},
                   {R"(body:{"code":0,"result":[]})", 49, "before", "Failed to get result object"},
                   {R"(body:{"code":0,"result":{"organization_id":7}})", 49, "before", no_id},
                   {"body:", 51, "before", kNoJson},
                   {"status:422", 51, "before", "Failed to create organization, easycurl error: 82"}});
}

TEST_F(OrgCenter, KeepsTheAccountsRecord) {
    const std::string before = "Ada Field,ada.field@harbex.example,GLB";
    const std::string empty = "Failed to get display_name, email, site";
    expect_faults(
        "cloud:/v1.1/me", store_contact,
        {{R"(body:{"result":{"display_name":"Eva","email":"e@x","site":"GLOBAL"}})", 0, "Eva,e@x,GLB", ""},
         {R"(body:{"result":{"display_name":"E \"v\"","email":"e","site":"Global"}})", 0, "E \"v\",e,Global", ""},
         {R"(body:{"result":{"display_name":"Eva","email":"","site":"CN"}})", 60, before, empty},
         {R"(body:{"result":{"display_name":"Eva","email":"e\nb = x","site":"CN"}})", 60,
          "Eva,ada.field@harbex.example,GLB", "Failed to set email"},
         {R"(body:{"result":"Eva"})", 49, before, "JSON does not contain 'result' object"},
         {"body:", 49, before, kNoJson},
         {"status:503", 51, before, "Failed to call account center api /v1.1/me"}});
    expect_faults(kSetcfg, store_contact,
                  {{"EMAILS", 60, before, "Failed to set email"}, {"REGION", 60, before, "Failed to set site"}});
    {
        begin();
        set_setting(kBidConf, "EMAILS", "old");
        const Broken tool(kSetcfg, "DISPLAY_NAME");
        LogReader log;
        EXPECT_EQ("60 Ada Field,old,GLB", store_contact().text()) << "nothing behind the name is stored";
        EXPECT_EQ("Failed to set display_name", last_error(log));
    }
    expect_faults("cloud:/v1.1/me", ask_account,
                  {{"refuse", 85, "", "Operation timed out"},
                   {"status:404,body:no", 51, "no", "CURL error: Failed to load CRL file"},
                   {"certificate:expired", 51, "", "CURL error: SSL peer certificate"}});
    begin();
    EXPECT_EQ("0 ada.field@harbex.example", contact_email().text());
    EXPECT_EQ("", requests()) << "a stored one is not asked for";
    set_setting(kBidConf, "EMAILS", "");
    EXPECT_EQ("0 ada.field@harbex.example", contact_email().text());
    EXPECT_EQ("GET /v1.1/me", requests());
    expect_faults(kGetcfg, contact_email, {{"EMAILS", 60, "before", "Failed to get bid display name"}});
    LogReader log;
    const std::string hosts = read_text("/etc/hosts");
    replace_in("/etc/hosts", "account-center.harbex.example", "elsewhere");
    EXPECT_EQ("84 ", ask_account().text());
    EXPECT_EQ("Could not resolve host", last_error(log));
    write_text("/etc/hosts", hosts);
}

TEST_F(OrgCenter, StoresTheFirstSite) {
    const std::string before = "site-29b0e4";
    LogReader log;
    EXPECT_EQ("0 site-5cc713", store_site().text()) << "the real tool";
    EXPECT_EQ("orgId: org-b41d92, vellumToken: " + vellum_token(), log.text("ERROR"));
    expect_faults(
        "/usr/local/bin/vellum_organization_tool", store_site,
        {{R"(body:{"result":[{"organization_site_id":"s 1"},{}]})", 0, "s 1", "orgId: "},
         {R"(body:{"result":[]})", 49, before, "No results found in JSON response"},
         {R"(body:{"result":[{"organization_site_id":7}]})", 49, before, "organization_site_id not found or invalid"},
         {"exit:1", 49, before, kNoJson}});
    expect_faults(kSetcfg, store_site, {{"CORVANE_SITE_ID", 60, before, "Failed to set site id"}});
    // Without a token nobody is asked for anything.
    const struct {
        Outcome (*run)();
        const char *outcome, *error;
    } cases[] = {{store_site, "63 site-29b0e4", "Failed to get vellum token"},
                 {ask_account, "60 ", "Failed to get cloud token"},
                 {list, "63 {\"kept\":1}", "Failed to get cloud token"},
                 {create, "63 before", "Failed to get cloud token"}};
    begin();
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    for (const auto& c : cases) {
        EXPECT_EQ(c.outcome, c.run().text());
        EXPECT_EQ(c.error, last_error(log)) << c.outcome;
    }
    EXPECT_EQ("", requests());
}

}  // namespace
}  // namespace harbex::test
