#include "service/corvane_token.h"

#include <limits>

#include "service_nas.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

constexpr const char* kLoginPath = "cloud:/cvnms/nmsuser/api/v1/edge/login";
constexpr const char* kOrgPath = "cloud:/v1.2/organization/*";
constexpr const char* kRequest = R"({"orgId": "org-7f3a1c"})";
const std::string kFailure = "Failed to get corvane token";
const std::string kRefused = refusal(1010, kFailure);

TEST(CorvaneToken, IsFreshForADay) {
    constexpr int64_t kNow = 1'800'000'000;
    const struct {
        const char* name;
        int64_t last_seen;
        bool fresh;
    } cases[] = {
        {"86400 seconds ago", kNow - 86400, true},
        {"86401 seconds ago", kNow - 86401, false},
        {"the latest number there is", std::numeric_limits<int64_t>::max(), true},
        {"the earliest", std::numeric_limits<int64_t>::min(), false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(service::is_corvane_token_fresh(kNow, c.last_seen), c.fresh) << c.name;
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

class CorvaneTokens : public ServiceNas {
protected:
    static std::string stored_token() { return setting(kCorvaneConf, "CORVANE_TOKEN"); }
    static void store(const std::string& token, const std::string& last_seen) {
        set_setting(kCorvaneConf, "CORVANE_TOKEN", token);
        set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", last_seen);
    }
};

TEST_F(CorvaneTokens, LoginGoesOutAsTheCloudKnowsIt) {
    const std::string account = sign_nas_in();
    const long long before = time(nullptr);
    const Outcome outcome = call("Get_corvanetoken", kRequest);
    const std::string token = stored_token();
    EXPECT_EQ(outcome.reply, success(quoted(token)));
    const long long last_seen = std::stoll(setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN"));
    EXPECT_GE(last_seen, before);
    EXPECT_LE(last_seen, time(nullptr));
    const std::string url = "corvane-api.harbex.example/cvnms/nmsuser/api/v1/edge/login";
    const std::string login = "DEBUG [corvane_api_edge_login] ";
    const std::string length = std::to_string(token.size());
    EXPECT_EQ(
        outcome.lines,
        (std::vector<std::string>{
            "UNKNOWN corvane_token expiration is 0 0",
            "DEBUG Attempting to get cloud token",
            "DEBUG Cloud token obtained successfully",
            login + "Sending request to https://" + url + " with orgId: org-7f3a1c",
            login + "Response length: " + std::to_string(std::string(R"({"corvaneToken":""})").size() + token.size()),
            login + "Successfully obtained corvaneToken (length: " + length + ")",
            "DEBUG Write corvaneToken to corvane.conf",
        }));
    EXPECT_EQ(cloud_requests(), std::vector<std::string>{"POST " + url +
                                                         "\nHost: corvane-api.harbex.example\nAccept: */*\n"
                                                         "Content-Type: application/json\nvellumToken: " +
                                                         account + "\nContent-Length: 23\n\n" + kRequest});

    // From now on the stored one, for whatever organisation.
    const Outcome again = call("Get_corvanetoken", R"({"orgId": "org-b41d92"})");
    EXPECT_EQ(again.reply, success(quoted(token)));
    EXPECT_EQ(again.lines, std::vector<std::string>{"DEBUG corvane_token is not expired"});
    EXPECT_EQ(cloud_requests(), std::vector<std::string>());

    store(token, "0");
    const std::string odd = R"({"orgId": "a\"b/ü"})";
    const std::string failure = "[corvane_api_edge_login] easycurl failed, err = 82";
    expect_call("the id goes out as it is", "Get_corvanetoken", odd, kRefused, {failure, kFailure});
    const auto requests = cloud_requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_TRUE(requests[0].ends_with("\n\n{\"orgId\": \"a\"b/ü\"}")) << requests[0];
}

TEST_F(CorvaneTokens, StoredTokenIsJudgedByItsTime) {
    sign_nas_in();
    const long long now = time(nullptr);
    constexpr const char* kStored = "as it was stored";
    const struct {
        const char* name;
        std::string last_seen;
        std::string number;  // as the log has it; "" for a fresh one
    } cases[] = {
        {"nearly a day old", std::to_string(now - 86400 + 600), ""},
        {"a day old", std::to_string(now - 86401), std::to_string(now - 86401)},
        {"a number and more", "4000000000s", ""},
        {"before all time", "-99999999999999999999", "-9223372036854775808"},
    };
    for (const auto& c : cases) {
        store(kStored, c.last_seen);
        const Outcome outcome = call("Get_corvanetoken", kRequest);
        EXPECT_EQ(outcome.reply, success(quoted(stored_token()))) << c.name;
        EXPECT_EQ(stored_token() == kStored, c.number.empty()) << c.name;
        EXPECT_EQ(cloud_requests().size(), c.number.empty() ? 0U : 1U) << c.name;
        const std::string first = c.number.empty()
                                      ? "DEBUG corvane_token is not expired"
                                      : "UNKNOWN corvane_token expiration is " + c.last_seen + " " + c.number;
        EXPECT_EQ(outcome.lines.empty() ? "" : outcome.lines[0], first) << c.name;
    }
    store("", std::to_string(now));
    expect_call("fresh and empty", "Get_corvanetoken", kRequest, success(R"("")"), {});
}

TEST_F(CorvaneTokens, MalformedRequests) {
    const std::string no_org = "orgId is missing or not a string in input JSON";
    const std::string refused = refusal(1010, "Missing or invalid orgId in input");
    expect_rows("Get_corvanetoken",
                {
                    {"nothing", "", refusal(1010, "No input data"), {"No data received from bs_io"}},
                    {"no JSON",
                     "org",
                     refusal(1010, "Invalid JSON input"),
                     {"Failed to parse input JSON: '[' or '{' expected near 'org'"}},
                    {"no object", R"(["orgId"])", refused, {no_org}},
                    {"a number", R"({"orgId": 7})", refused, {no_org}},
                    {"never signed in",
                     kRequest,
                     kRefused,
                     {"vellum_token is empty", "Failed to obtain vellumToken", kFailure}},
                });
    EXPECT_EQ(cloud_requests(), std::vector<std::string>());
}

TEST_F(CorvaneTokens, LoginThatFails) {
    const std::string login = "[corvane_api_edge_login] ";
    const std::string no_token = login + "No 'corvaneToken' string in JSON response";
    const char* cut_short = R"({"corvaneToken": "t)";
    sign_nas_in();
    store("old", "1000");
    expect_faults(kLoginPath, "Get_corvanetoken", kRequest,
                  {
                      {"refused", "refuse", kRefused, {login + "easycurl failed, err = 7", kFailure}},
                      {"denied",
                       R"(status:403,body:{"corvaneToken": "t"})",
                       kRefused,
                       {login + "easycurl failed, err = 82", kFailure}},
                      {"cut short",
                       std::string("body:") + cut_short,
                       kRefused,
                       {login + "Failed to parse JSON: " + parser_text(cut_short), kFailure}},
                      {"no object", "body:[]", kRefused, {no_token, kFailure}},
                      {"a number", R"(body:{"corvaneToken": 5})", kRefused, {no_token, kFailure}},
                      {"two lines",
                       R"(body:{"corvaneToken": "t\nCORVANE_ORG_ID = o"})",
                       kRefused,
                       {"Failed to save corvaneToken to corvane.conf", kFailure}},
                  });
}

TEST_F(CorvaneTokens, OnlyTheLoginMayDoWithoutCertificates) {
    const auto switch_checks = [](const char* value) {
        run_program({"/sbin/setcfg", kDebugSection, "InsecureCurl", value, "-f", kCorvaneConf});
    };
    sign_nas_in();
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-7f3a1c");
    for (const char* certificate : {"certificate:expired", "certificate:other-name"}) {
        const Fault fault("cloud:*", certificate);
        store("old", "0");
        switch_checks("True");
        expect_call(certificate, "Get_corvanetoken", kRequest, kRefused,
                    {"[corvane_api_edge_login] easycurl failed, err = 60", kFailure});
        switch_checks("true");
        EXPECT_TRUE(call("Get_corvanetoken", kRequest).reply.starts_with(R"({"data": "ct1-)")) << certificate;
        expect_call(
            certificate, "Update_org_name", "", refusal(1010, "Failed org info query"),
            {"Failed to query organization info: https://org-center.harbex.example/v1.2/organization/org-7f3a1c"});
        expect_call(certificate, "Refresh_cloudtoken", "", refusal(1010, "Failed to refresh cloud token"),
                    {"Failed to call refresh API"});
    }
}

TEST_F(CorvaneTokens, SettingsThatFail) {
    sign_nas_in();
    {
        const FailingSetting tool("setcfg", "CORVANE_TOKEN_LAST_SEEN");
        expect_call("its time", "Get_corvanetoken", kRequest, kRefused,
                    {"Failed to save corvaneToken timestamp to corvane.conf", kFailure});
        EXPECT_TRUE(stored_token().starts_with("ct1-")) << "stays stored";
    }
    set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", std::to_string(time(nullptr)));
    {
        const FailingSetting tool("getcfg", "CORVANE_TOKEN");
        expect_call("reading", "Get_corvanetoken", kRequest, kRefused, {"Failed to get corvane_token", kFailure});
    }
    const FailingSetting tool("getcfg", "CORVANE_TOKEN_LAST_SEEN");
    const Outcome stale = call("Get_corvanetoken", kRequest);
    EXPECT_EQ(stale.reply, success(quoted(stored_token()))) << "without a time it is stale";
    EXPECT_EQ(stale.lines.size(), 7U);
}

TEST_F(CorvaneTokens, CallersShareOneLogin) {
    const struct {
        const char* name;
        std::vector<std::string> organisations;  // the first is in alone
        size_t logins;
    } cases[] = {
        {"that succeeds", std::vector<std::string>(4, "org-7f3a1c"), 1},
        {"that fails", std::vector<std::string>(4, "org-0"), 1},
        {"unless it failed for another organisation", {"org-0", "org-7f3a1c"}, 2},
    };
    sign_nas_in();
    for (const auto& c : cases) {
        store("old", "0");
        (void)cloud_requests();
        const ReplacedTool tool("/sbin/getcfg", std::string("[ $2 != VELLUM_TOKEN ] || ") + kGate +
                                                    "\nexec /sbin/getcfg.replaced \"$@\"");
        std::vector<std::string> bodies;
        for (const std::string& organisation : c.organisations)
            bodies.push_back(R"({"orgId": ")" + organisation + R"("})");
        const auto replies = call_together("Get_corvanetoken", bodies, "DEBUG Attempting to get cloud token");
        EXPECT_EQ(cloud_requests().size(), c.logins) << c.name;
        for (size_t i = 0; i < replies.size(); i++) {
            const bool known = c.organisations[i] != "org-0";
            EXPECT_EQ(replies[i], known ? success(quoted(stored_token())) : kRefused) << c.name << ", caller " << i;
        }
    }
}

TEST_F(CorvaneTokens, GoodTokensWaitForNoRenewal) {
    sign_nas_in("--expires-in -1");
    const ReplacedTool tool("/sbin/getcfg", std::string("[ $2 != VELLUM_REFRESH_TOKEN ] || ") + kGate +
                                                "\nexec /sbin/getcfg.replaced \"$@\"");
    std::filesystem::remove("/tmp/sign");
    std::thread held_up([] { (void)bus_call(kDaemonService, "Get_corvanetoken", kRequest); });
    log().lines_until("DEBUG vellum_token is expired, need to be refreshed");  // in both turns
    set_setting(kBidConf, "VELLUM_TOKEN", "good.4000000000");
    store("fresh", "4000000000");
    EXPECT_EQ(bus_call(kDaemonService, "Get_cloudtoken", "", 20).text, success(quoted("good.4000000000")));
    EXPECT_EQ(bus_call(kDaemonService, "Get_corvanetoken", kRequest, 20).text, success(quoted("fresh")));
    write_text("/tmp/sign", "");
    held_up.join();
}

TEST_F(CorvaneTokens, OrganisationsName) {
    const std::string account = sign_nas_in();
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-b41d92");
    const Outcome outcome = call("Update_org_name", "whatever");
    EXPECT_EQ(outcome.reply, success(R"("Field Workshop")"));
    EXPECT_EQ(setting(kCorvaneConf, "CORVANE_ORG_NAME"), "Field Workshop");
    ASSERT_EQ(outcome.lines.size(), 2U);
    EXPECT_TRUE(outcome.lines[0].starts_with(R"(DEBUG response_str: {"result":{"name":"Field Workshop",)"));
    EXPECT_EQ(outcome.lines[1], "DEBUG Successfully set CORVANE_ORG_NAME to Field Workshop in corvane.conf");
    EXPECT_EQ(cloud_requests(),
              std::vector<std::string>{"GET org-center.harbex.example/v1.2/organization/org-b41d92\n"
                                       "Host: org-center.harbex.example\n"
                                       "accept: application/json\nAuthorization: Bearer " +
                                       account + "\n\n"});
}

TEST_F(CorvaneTokens, OrganisationsNameThatCannotBeHad) {
    expect_call("no organisation", "Update_org_name", "", refusal(1010, "Missing CORVANE_ORG_ID"),
                {"Failed to get CORVANE_ORG_ID from corvane.conf"});
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "org-b41d92");
    expect_call("never signed in", "Update_org_name", "", refusal(1010, "Failed to get cloud token"),
                {"vellum_token is empty", "Failed to get cloud token"});
    sign_nas_in();
    set_setting(kCorvaneConf, "CORVANE_ORG_NAME", "before");
    expect_faults(
        kOrgPath, "Update_org_name", "",
        {
            {"unknown",
             "status:404,body:{}",
             refusal(1010, "Failed org info query"),
             {"Failed to query organization info: https://org-center.harbex.example/v1.2/organization/org-b41d92"}},
            {"no JSON",
             "body:name",
             refusal(1003, "Invalid org info JSON"),
             {"Failed to parse org json: " + parser_text("name")}},
            {"a text",
             R"(body:{"result": "name"})",
             refusal(1003, "Missing org result field"),
             {"No valid 'result' object in org info"}},
            {"a number",
             R"(body:{"result": {"name": 5}})",
             refusal(1003, "Missing org name field"),
             {"No valid 'name' field in org info"}},
            {"two lines",
             R"(body:{"result": {"name": "a\nb"}})",
             kNoReply,
             {"Failed to set CORVANE_ORG_NAME in corvane.conf"}},
        });
}

}  // namespace
}  // namespace harbex::test
