#include "corvane/cloud/org_center.h"

#include "common/json_owner.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kOrganizationFault = "cloud:/v1.2/organization";
const std::string kNoJson = "Failed to parse JSON: ";
const std::string kKept = R"({"kept":1})";

// The operations, with outputs of known contents.
constexpr auto list = [] { return on_document(corvane::get_organization_list); };
constexpr auto contact_email = [] { return on_text(corvane::get_contact_email); };
constexpr auto create = [] { return on_text([](std::string& id) { return corvane::create_organization("n", id); }); };
std::string store_contact() {
    const int code = corvane::set_corvane_bid_conf();
    return std::to_string(code) + " " + stored(kBidConf, "DISPLAY_NAME") + "," + stored(kBidConf, "EMAILS") + "," +
           stored(kBidConf, "REGION");
}
std::string store_site() {
    const int code = corvane::set_site_id("org-b41d92");
    return std::to_string(code) + " " + stored(kCorvaneConf, "CORVANE_SITE_ID");
}

using OrgCenter = SignedInNas;

TEST_F(OrgCenter, ListsOrganizations) {
    EXPECT_EQ(R"(0 [{"name":"Field Office","organization_id":"org-7f3a1c","is_default":true},)"
              R"({"name":"Field Workshop","organization_id":"org-b41d92","is_default":false}])",
              list());
    EXPECT_EQ("GET /v1.2/organization\naccept: application/json\nAuthorization: Bearer " + vellum_token() + "\n",
              request_text(recorded_requests().at(0).get()));
    const std::string kept = "49 " + kKept;
    const std::string incomplete = "Failed to get name or organization_id";
    expect_faults(kOrganizationFault, list,
                  {
                      {R"(body:{"result":[{"name":1,"organization_id":null,"is_default":true}]})",
                       R"(0 [{"name":1,"organization_id":null,"is_default":false}])", ""},
                      {R"(body:{"result":[{"name":"b","organization_id":"2","created_by":{"is_default":"true"}}]})",
                       R"(0 [{"name":"b","organization_id":"2","is_default":false}])", ""},
                      {R"(body:{"result":[{"name":"a","organization_id":"1"},{"name":"b"}]})", kept, incomplete},
                      {R"(body:{"result":[{"organization_id":"1"}]})", kept, incomplete},
                      {R"(body:{"result":{}})", kept, "Failed to get result array"},
                      {"body:{", kept, kNoJson},
                      {"status:401,body:{}", "51 " + kKept, "Failed to fetch organization list, easycurl error: 82"},
                  });
}

TEST_F(OrgCenter, AUserWithoutOrganizationsGetsOne) {
    const JsonOwner before = parse(shell("cloudctl state").out);
    const std::string id = "org-" + at(before.get(), {"next_number"});
    shell("cloudctl set '{\"organizations\": []}'");
    EXPECT_EQ("0 [{\"name\":\"My Organization\",\"organization_id\":\"" + id + "\",\"is_default\":true}]", list());
    EXPECT_EQ("POST /v1.2/organization\naccept: application/json\nAuthorization: Bearer " + vellum_token() +
                  "\nContent-Type: application/json\n{\"name\": \"My Organization\", \"size\": \"5~9\"}",
              request_text(recorded_requests().at(1).get()));
    shell("cloudctl set '{\"organizations\": []}'");
    expect_faults("cloud:#2", list, {{"status:500", "51 " + kKept, "Failed to create organization"}});
    EXPECT_EQ("GET /v1.2/organization\nPOST /v1.2/organization", requests());
    const std::string kept = json_dump_text(json_object_get(before.get(), "organizations"), 0);
    EXPECT_EQ(0, shell("cloudctl set '{\"organizations\": " + kept + "}'").status);
}

TEST_F(OrgCenter, JudgesACreation) {
    const std::string refused = "Failed to create organization, code: ";
    const std::string no_id = "organization_id not found or not a string";
    expect_faults(kOrganizationFault, create,
                  {
                      {R"(body:{"code":0,"result":{"organization_id":"o"}})", "0 o", ""},
                      {R"(body:{"code":"0","result":{"organization_id":"o"}})", "51 before", refused + "0"},
                      {R"(body:{"code":-5})", "51 before", refused + "-5"},
                      {R"(body:{"code":0,"result":[]})", "49 before", "Failed to get result object"},
                      {R"(body:{"code":0,"result":{"organization_id":7}})", "49 before", no_id},
                      {"body:", "51 before", kNoJson},
                      {"status:422", "51 before", "Failed to create organization, easycurl error: 82"},
                  });
    replace_in(kBidConf, "VELLUM_TOKEN", "NO_TOKEN");
    EXPECT_EQ("63 before", create());
    EXPECT_EQ("63 " + kKept, list());
}

TEST_F(OrgCenter, StoresTheAccountsRecord) {
    const std::string before = " Ada Field,ada.field@harbex.example,GLB";
    const std::string shape = "JSON does not contain 'result' object";
    const std::string empty = "Failed to get display_name, email, site";
    expect_faults(
        "cloud:/v1.1/me", store_contact,
        {
            {R"(body:{"result":{"display_name":"Eva","email":"e@x","site":"GLOBAL"}})", "0 Eva,e@x,GLB", ""},
            {R"(body:{"result":{"display_name":"E \"v\"","email":"e","site":"Global"}})", "0 E \"v\",e,Global", ""},
            {R"(body:{"result":{"display_name":"Eva","email":"","site":"CN"}})", "60" + before, empty},
            {R"(body:{"result":{"display_name":"Eva","email":"e\nVELLUM_TOKEN = x","site":"CN"}})",
             "60 Eva,ada.field@harbex.example,GLB", "Failed to set email"},
            {R"(body:{"result":"Eva"})", "49" + before, shape},
            {"body:", "49" + before, kNoJson},
            {"status:503", "51" + before, "Failed to call account center api /v1.1/me"},
        });
    const char* const keys[][2] = {{"DISPLAY_NAME", "display_name"}, {"EMAILS", "email"}, {"REGION", "site"}};
    for (const auto& key : keys) {
        begin();
        TraceReader log;
        const ReplacedTool tool("/sbin/setcfg", failing_for("setcfg", key[0]));
        EXPECT_EQ("60" + before, store_contact());
        EXPECT_EQ(std::string("Failed to set ") + key[1], lines_of(log, "ERROR"));
    }
}

TEST_F(OrgCenter, TellsWhyTheAccountCentreIsOutOfReach) {
    const auto ask = [] { return on_text(corvane::account_center_api_me, ""); };
    expect_faults("cloud:/v1.1/me", ask,
                  {
                      {"refuse", "85 ", "Operation timed out"},
                      {"status:404,body:no", "51 no", "CURL error: Failed to load CRL file"},
                      {"certificate:expired", "51 ", "CURL error: SSL peer certificate"},
                  });
    begin();
    TraceReader log;
    const std::string hosts = read_text("/etc/hosts");
    replace_in("/etc/hosts", "account-center.harbex.example", "elsewhere");
    EXPECT_EQ("84 ", ask());
    EXPECT_EQ("Could not resolve host", last_error(log));
    write_text("/etc/hosts", hosts);
    replace_in(kBidConf, "VELLUM_TOKEN", "NO_TOKEN");
    EXPECT_EQ("60 ", ask());
    EXPECT_EQ("Failed to get cloud token", last_error(log));
}

TEST_F(OrgCenter, FindsTheContactsAddress) {
    EXPECT_EQ("0 ada.field@harbex.example", contact_email());
    EXPECT_EQ("", requests()) << "a stored one is not asked for";
    replace_in(kBidConf, "EMAILS = ada.field@harbex.example", "EMAILS =");
    EXPECT_EQ("0 ada.field@harbex.example", contact_email());
    EXPECT_EQ("GET /v1.1/me", requests());
    TraceReader log;
    const ReplacedTool tool("/sbin/getcfg", failing_for("getcfg", "EMAILS"));
    EXPECT_EQ("60 before", contact_email());
    EXPECT_EQ("Failed to get bid display name", last_error(log));
}

TEST_F(OrgCenter, StoresTheFirstSite) {
    const std::string none = "No results found in JSON response";
    const std::string invalid = "organization_site_id not found or invalid";
    const std::string before = "49 site-29b0e4";
    TraceReader log;
    EXPECT_EQ("0 site-5cc713", store_site()) << "the real tool";
    EXPECT_EQ("orgId: org-b41d92, vellumToken: " + vellum_token(), lines_of(log, "ERROR"));
    expect_faults("/usr/local/bin/vellum_organization_tool", store_site,
                  {
                      {R"(body:{"result":[{"organization_site_id":"s 1"},{}]})", "0 s 1", "orgId: "},
                      {R"(body:{"result":[]})", before, none},
                      {R"(body:{"result":[{"organization_site_id":7}]})", before, invalid},
                      {"body:sites", before, kNoJson},
                      {"exit:1", before, kNoJson},
                  });
    begin();
    const ReplacedTool tool("/sbin/setcfg", failing_for("setcfg", "CORVANE_SITE_ID"));
    EXPECT_EQ("60 site-29b0e4", store_site());
    EXPECT_EQ("Failed to set site id", last_error(log));
    replace_in(kBidConf, "VELLUM_TOKEN", "NO_TOKEN");
    EXPECT_EQ("63 site-29b0e4", store_site());
    EXPECT_EQ("Failed to get vellum token", last_error(log));
}

}  // namespace
}  // namespace harbex::test
