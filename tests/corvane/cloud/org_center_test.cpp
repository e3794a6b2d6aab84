#include "corvane/cloud/org_center.h"

#include "common/error_code.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kOrganizationFault = "cloud:/v1.2/organization";

class OrgCenter : public SignedInNas {
protected:
    static std::string list() {
        JsonValue organizations;
        organizations = "before";
        const int code = corvane::get_organization_list(organizations);
        return std::to_string(code) + " " + text_of(organizations);
    }
    static std::string create(const std::string& name) {
        std::string id = "before";
        const int code = corvane::create_organization(name, id);
        return std::to_string(code) + " " + id;
    }
    static std::string contact() {
        return stored(kBidConf, "DISPLAY_NAME") + "," + stored(kBidConf, "EMAILS") + "," + stored(kBidConf, "REGION");
    }
};

TEST_F(OrgCenter, ListsOrganizations) {
    EXPECT_EQ(R"(0 [{"name":"Field Office","organization_id":"org-7f3a1c","is_default":true},)"
              R"({"name":"Field Workshop","organization_id":"org-b41d92","is_default":false}])",
              list());
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(1U, records.size());
    EXPECT_EQ((Lines{kAccept, "Authorization: Bearer " + vellum_token()}), header_lines(records[0].get()));

    const std::string incomplete = "Failed to get name or organization_id";
    const std::string easycurl = "[easycurl] ";
    const struct {
        const char* fault;
        std::string outcome;
        std::string error;
    } cases[] = {
        {R"(body:{"result":[{"name":1,"organization_id":null,"is_default":true},)"
         R"({"name":"b","organization_id":"2","created_by":{"is_default":"true"}},)"
         R"({"name":"c","organization_id":"3","created_by":[true]}]})",
         R"(0 [{"name":1,"organization_id":null,"is_default":false},{"name":"b","organization_id":"2","is_default":false},)"
         R"({"name":"c","organization_id":"3","is_default":false}])",
         ""},
        {R"(body:{"result":[{"name":"a","organization_id":"1"},{"name":"b"}]})", "49 before", incomplete},
        {R"(body:{"result":["a"]})", "49 before", incomplete},
        {R"(body:{"result":{}})", "49 before", "Failed to get result array"},
        {"body:[]", "49 before", "Failed to get result array"},
        {"body:{", "49 before", "Failed to parse JSON: "},
        {"status:401,body:{}", "51 before", "Failed to fetch organization list, easycurl error: 82"},
        {"close", "51 before", "Failed to fetch organization list, easycurl error: "},
    };
    TraceReader log;
    for (const auto& c : cases) {
        const Fault fault(kOrganizationFault, c.fault);
        EXPECT_EQ(c.outcome.find("before") == std::string::npos ? c.outcome : c.outcome.substr(0, 3) + "\"before\"",
                  list())
            << c.fault;
        EXPECT_EQ(c.error, last_error(log).substr(0, c.error.size())) << c.fault;
    }
}

TEST_F(OrgCenter, AUserWithoutOrganizationsGetsOne) {
    const JsonOwner before = parse(shell("cloudctl state").out);
    shell("cloudctl set '{\"organizations\": []}'");
    const std::string id = "org-" + at(before.get(), {"next_number"});
    EXPECT_EQ("0 [{\"name\":\"My Organization\",\"organization_id\":\"" + id + "\",\"is_default\":true}]", list());
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(2U, records.size());
    EXPECT_EQ("POST", at(records[1].get(), {"method"}));
    EXPECT_EQ(R"({"name": "My Organization", "size": "5~9"})", at(records[1].get(), {"body"}));
    EXPECT_EQ((Lines{kAccept, "Authorization: Bearer " + vellum_token(), kJsonType}), header_lines(records[1].get()));

    shell("cloudctl set '{\"organizations\": []}'");
    const Fault fault("cloud:#2", "status:500");
    shell("cloudctl requests --clear");
    TraceReader log;
    EXPECT_EQ("51 \"before\"", list());
    EXPECT_EQ("Failed to create organization", last_error(log));

    const JsonOwner kept(json_pack("{s:O}", "organizations", json_object_get(before.get(), "organizations")));
    const std::unique_ptr<char, decltype(&free)> text(json_dumps(kept.get(), 0), &free);
    EXPECT_EQ(0, shell(std::string("cloudctl set '") + text.get() + "'").status);
}

TEST_F(OrgCenter, JudgesACreation) {
    const std::string no_id = "organization_id not found or not a string";
    const std::string refused = "Failed to create organization, code: ";
    const struct {
        const char* fault;
        const char* outcome;
        std::string error;
    } cases[] = {
        {R"(body:{"code":0,"result":{"organization_id":"o"}})", "0 o", ""},
        {R"(body:{"code":"0","result":{"organization_id":"o"}})", "51 before", refused + "0"},
        {R"(body:{"code":-5})", "51 before", refused + "-5"},
        {R"(body:{"code":true,"result":{"organization_id":"o"}})", "51 before", refused},
        {R"(body:{"code":0,"result":[]})", "49 before", "Failed to get result object"},
        {R"(body:{"code":0,"result":{"organization_id":7}})", "49 before", no_id},
        {"body:", "51 before", "Failed to parse JSON: "},
        {"status:422,body:no", "51 before", "Failed to create organization, easycurl error: 82"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        const Fault fault(kOrganizationFault, c.fault);
        EXPECT_EQ(c.outcome, create("n")) << c.fault;
        const std::vector<std::string> lines = log.lines();
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
            return line.starts_with("INFO Create organization API response: ");
        })) << c.fault;
        EXPECT_EQ(c.error.empty() ? "INFO Create organization API response: " : "ERROR " + c.error,
                  lines.back().substr(0, c.error.empty() ? 39 : c.error.size() + 6))
            << c.fault;
    }
    replace_in(kBidConf, "VELLUM_TOKEN", "NO_TOKEN");
    EXPECT_EQ("63 before", create("n"));
    EXPECT_EQ("63 \"before\"", list());
}

TEST_F(OrgCenter, StoresTheAccountsRecord) {
    const std::string shape = "JSON does not contain 'result' object";
    const std::string empty = "Failed to get display_name, email, site";
    const std::string before = "Ada Field,ada.field@harbex.example,GLB";
    const struct {
        const char* fault;
        int code;
        std::string contact;
        std::string errors;
    } cases[] = {
        {R"(body:{"result":{"display_name":"Eva","email":"e@x","site":"GLOBAL"}})", 0, "Eva,e@x,GLB", ""},
        {R"(body:{"result":{"display_name":"E \"v\" a","email":"e","site":"Global"}})", 0, "E \"v\" a,e,Global", ""},
        {R"(body:{"result":{"display_name":"Eva","email":"","site":"CN"}})", 60, before, empty},
        {R"(body:{"result":{"display_name":"Eva","email":["e"],"site":"CN"}})", 60, before, empty},
        {R"(body:{"result":{"display_name":"Eva","email":"e\nVELLUM_TOKEN = x","site":"CN"}})", 60,
         "Eva,ada.field@harbex.example,GLB", "Failed to set email"},
        {R"(body:{"result":"Eva"})", 49, before, shape},
        {R"(body:{})", 49, before, shape},
        {"body:", 49, before, "Failed to parse JSON: " + parser_text("")},
        {"status:503", 51, before,
         "[easycurl] HTTP request failed with status code: 503, response: \n"
         "CURL error: Failed to load CRL file (path? access rights?, format?)\nFailed to call account center api "
         "/v1.1/me"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        const Fault fault("cloud:/v1.1/me", c.fault);
        EXPECT_EQ(c.code, corvane::set_corvane_bid_conf()) << c.fault;
        EXPECT_EQ(c.contact, contact()) << c.fault;
        EXPECT_EQ(c.errors, lines_of(log, "ERROR")) << c.fault;
    }
    for (const char* key : {"DISPLAY_NAME", "EMAILS", "REGION"}) {
        begin();
        const ReplacedTool tool("/sbin/setcfg", setcfg_without(key));
        EXPECT_EQ(ERR_CMD_FAILED, corvane::set_corvane_bid_conf()) << key;
        const std::string words = last_error(log);
        EXPECT_TRUE(words == "Failed to set display_name" || words == "Failed to set email" ||
                    words == "Failed to set site")
            << words;
    }
}

TEST_F(OrgCenter, TellsWhyTheAccountCentreIsOutOfReach) {
    TraceReader log;
    std::string response;
    {
        const Fault fault("cloud:/v1.1/me", "refuse");
        EXPECT_EQ(ERR_CURL_TIMEOUT, corvane::account_center_api_me(response));
        EXPECT_EQ("Operation timed out", last_error(log));
    }
    const std::string hosts = read_text("/etc/hosts");
    std::string without = hosts;
    without.replace(without.find("account-center.harbex.example"), 7, "removed");
    write_text("/etc/hosts", without);
    EXPECT_EQ(ERR_CURL_DNS_RESOLVE, corvane::account_center_api_me(response));
    EXPECT_EQ("Could not resolve host", last_error(log));
    write_text("/etc/hosts", hosts);
    replace_in(kBidConf, "VELLUM_TOKEN", "NO_TOKEN");
    EXPECT_EQ(ERR_CMD_FAILED, corvane::account_center_api_me(response));
    EXPECT_EQ("Failed to get cloud token", last_error(log));
}

TEST_F(OrgCenter, FindsTheContactsAddress) {
    std::string email = "before";
    EXPECT_EQ(0, corvane::get_contact_email(email));
    EXPECT_EQ("ada.field@harbex.example", email);
    EXPECT_EQ(Lines{}, requests()) << "a stored one is not asked for";
    replace_in(kBidConf, "EMAILS = ada.field@harbex.example", "EMAILS =");
    EXPECT_EQ(0, corvane::get_contact_email(email));
    EXPECT_EQ(Lines{"GET /v1.1/me"}, requests());

    email = "before";
    TraceReader log;
    const ReplacedTool tool("/sbin/getcfg", "[ \"$2\" = EMAILS ] && exit 1; exec /sbin/getcfg.replaced \"$@\"");
    EXPECT_EQ(ERR_CMD_FAILED, corvane::get_contact_email(email));
    EXPECT_EQ("Failed to get bid display name", last_error(log));
    EXPECT_EQ("before", email);
}

TEST_F(OrgCenter, StoresTheFirstSite) {
    const std::string none = "No results found in JSON response";
    const std::string invalid = "organization_site_id not found or invalid";
    const struct {
        const char* printed;
        int code;
        const char* site;
        std::string error;
    } cases[] = {
        {R"(body:{"result":[{"organization_site_id":"s 1"},{"organization_site_id":"s2"}]})", 0, "s 1", ""},
        {R"(body:{"result":[]})", 49, "site-29b0e4", none},
        {R"(body:{"result":{"organization_site_id":"s"}})", 49, "site-29b0e4", none},
        {R"(body:{"result":[{"organization_site_id":7}]})", 49, "site-29b0e4", invalid},
        {R"(body:{"result":["s"]})", 49, "site-29b0e4", invalid},
        {"body:sites", 49, "site-29b0e4", "Failed to parse JSON: " + parser_text("sites\n")},
        {"exit:1", 49, "site-29b0e4", "Failed to parse JSON: " + parser_text("")},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        const Fault fault("/usr/local/bin/vellum_organization_tool", c.printed);
        EXPECT_EQ(c.code, corvane::set_site_id("o")) << c.printed;
        EXPECT_EQ(c.site, stored(kCorvaneConf, "CORVANE_SITE_ID")) << c.printed;
        const std::string told = "orgId: o, vellumToken: " + vellum_token();
        EXPECT_EQ(c.error.empty() ? told : told + "\n" + c.error, lines_of(log, "ERROR")) << c.printed;
    }
    EXPECT_EQ(0, corvane::set_site_id("org-b41d92"));
    EXPECT_EQ("site-5cc713", stored(kCorvaneConf, "CORVANE_SITE_ID")) << "the real tool";
    {
        const ReplacedTool tool("/sbin/setcfg", setcfg_without("CORVANE_SITE_ID"));
        EXPECT_EQ(ERR_CMD_FAILED, corvane::set_site_id("org-b41d92"));
        EXPECT_EQ("Failed to set site id", last_error(log));
    }
    replace_in(kBidConf, "VELLUM_TOKEN", "NO_TOKEN");
    EXPECT_EQ(ERR_CORVANE_GETCLOUDTOKEN, corvane::set_site_id("o"));
    EXPECT_EQ("Failed to get vellum token", last_error(log));
}

}  // namespace
}  // namespace harbex::test
