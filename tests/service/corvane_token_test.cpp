#include "service/corvane_token.h"

#include "service_nas.h"

namespace harbex::test {
namespace {

const std::string kRequest = R"({"orgId": "org-7f3a1c"})";
const std::string kFailed = "Failed to get corvane token";
const std::string kEnd = "\n" + kFailed;
const std::string kLogin = "[corvane_api_edge_login] ";

TEST(CorvaneToken, IsFreshForADay) {
    constexpr int64_t kNow = 1'800'000'000;
    EXPECT_TRUE(service::is_corvane_token_fresh(kNow, kNow - 86400));
    EXPECT_FALSE(service::is_corvane_token_fresh(kNow, kNow - 86401));
}

class CorvaneTokens : public ServiceNas {
protected:
    static void store(const std::string& token, const std::string& last_seen) {
        set_setting(kCorvaneConf, "CORVANE_TOKEN", token);
        set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", last_seen);
    }
};

TEST_F(CorvaneTokens, LoginGoesOutAsTheCloudKnowsIt) {
    store("old", "0");
    const long long before = time(nullptr);
    const Answer answer = call("Get_corvanetoken", kRequest);
    const std::string token = corvane_token();
    EXPECT_EQ(answer.reply, envelope(kSuccess, quoted(token)));
    const long long last_seen = std::stoll(stored(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN"));
    EXPECT_TRUE(last_seen >= before && last_seen <= time(nullptr)) << last_seen;
    const std::string url = "corvane-api.harbex.example/cvnms/nmsuser/api/v1/edge/login";
    const std::string start = "\nDEBUG " + kLogin;
    const std::string length = std::to_string(token.size());
    EXPECT_EQ(answer.lines,
              "UNKNOWN corvane_token expiration is 0 0\nDEBUG Attempting to get cloud token\n"
              "DEBUG Cloud token obtained successfully" +
                  start + "Sending request to https://" + url + " with orgId: org-7f3a1c" + start +
                  "Response length: " + std::to_string(sizeof R"({"corvaneToken":""})" - 1 + token.size()) + start +
                  "Successfully obtained corvaneToken (length: " + length +
                  ")\nDEBUG Write corvaneToken to corvane.conf");
    EXPECT_EQ(request_texts(), std::vector{"POST " + url + "\nContent-Type: application/json\nvellumToken: " +
                                           vellum_token() + "\n" + kRequest});
    set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "+99999999999999999999 s");  // read up to the blank
    const Answer again = call("Get_corvanetoken", R"({"orgId": "org-b41d92"})");
    EXPECT_EQ(again.reply + again.lines + requests(), answer.reply + "DEBUG corvane_token is not expired");
}

TEST_F(CorvaneTokens, LoginThatFails) {
    const std::string no_org = "orgId is missing or not a string in input JSON";
    const std::string invalid = "Missing or invalid orgId in input";
    const std::string no_token = kLogin + "No 'corvaneToken' string in JSON response" + kEnd;
    store("old", "1000");
    expect_requests("Get_corvanetoken",
                    {{"", 1010, "No input data", "No data received from bs_io"},
                     {"org", 1010, "Invalid JSON input", "Failed to parse input JSON: " + parser_text("org")},
                     {R"({"orgId": 7})", 1010, invalid, no_org}});
    expect_faults("cloud:/cvnms/nmsuser/api/v1/edge/login", "Get_corvanetoken", kRequest,
                  {{R"(body:{"corvaneToken": 5})", 1010, kFailed, no_token}});
    {
        const Broken tool(kSetcfg, "CORVANE_TOKEN_LAST_SEEN");
        expect_call("Get_corvanetoken", kRequest,
                    {"its time", 1010, kFailed, "Failed to save corvaneToken timestamp to corvane.conf" + kEnd});
        EXPECT_TRUE(corvane_token().starts_with("ct1-")) << "stays stored";
    }
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    expect_requests("Get_corvanetoken",
                    {{kRequest, 1010, kFailed, "vellum_token is empty\nFailed to obtain vellumToken" + kEnd}});
}

const std::string kNoName = "Failed to query organization info: https://org-center.harbex.example/v1.2/organization/";

TEST_F(CorvaneTokens, OnlyTheLoginMayDoWithoutCertificates) {
    store("old", "0");
    const Broken cloud("cloud:*", "certificate:expired");
    expect_call("Get_corvanetoken", kRequest, {"", 1010, kFailed, kLogin + "easycurl failed, err = 60" + kEnd});
    run_program({kSetcfg, kDebugSection, "InsecureCurl", "true", "-f", kCorvaneConf});
    EXPECT_TRUE(call("Get_corvanetoken", kRequest).reply.starts_with(R"({"data": "ct1-)"));
    expect_call("Update_org_name", "", {"name", 1010, "Failed org info query", kNoName + "org-7f3a1c"});
}

TEST_F(CorvaneTokens, OrganisationsName) {
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-b41d92");
    const Answer answer = call("Update_org_name", "whatever");
    EXPECT_EQ(answer.reply, envelope(kSuccess, quoted("Field Workshop")));
    EXPECT_EQ(stored(kCorvaneConf, "CORVANE_ORG_NAME"), "Field Workshop");
    EXPECT_TRUE(
        answer.lines.ends_with("\nDEBUG Successfully set CORVANE_ORG_NAME to Field Workshop in corvane.conf"));
    EXPECT_EQ(request_texts(), std::vector{"GET org-center.harbex.example/v1.2/organization/org-b41d92\n"
                                           "accept: application/json\nAuthorization: Bearer " +
                                           vellum_token() + "\n"});
    expect_faults(
        "cloud:/v1.2/organization/*", "Update_org_name", "",
        {{"status:404,body:{}", 1010, "Failed org info query", kNoName + "org-b41d92"},
         {R"(body:{"result": "name"})", 1003, "Missing org result field", "No valid 'result' object in org info"},
         {R"(body:{"result": {"name": "a\nb"}})", kNoReply, "", "Failed to set CORVANE_ORG_NAME in corvane.conf"}});
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    const std::string no_token = "Failed to get cloud token";
    expect_requests("Update_org_name", {{"", 1010, no_token, "vellum_token is empty\n" + no_token}});
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "");
    expect_requests("Update_org_name",
                    {{"", 1010, "Missing CORVANE_ORG_ID", "Failed to get CORVANE_ORG_ID from corvane.conf"}});
}

}  // namespace
}  // namespace harbex::test
