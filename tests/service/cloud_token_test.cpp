#include "service/cloud_token.h"

#include <thread>

#include "corvane/device/credentials.h"
#include "service_nas.h"

namespace harbex::test {
namespace {

const std::string kNotGot = "Failed to get cloud token";
const std::string kNotRefreshed = "Failed to refresh cloud token";

TEST(CloudToken, IsValidUntilItsTime) {
    EXPECT_TRUE(service::is_cloud_token_valid("va1.abc.1800000001", 1'800'000'000));
    EXPECT_FALSE(service::is_cloud_token_valid("va1.abc.1800000000", 1'800'000'000));
    EXPECT_TRUE(service::is_cloud_token_valid("va1.abc. +1800000001s", 1'800'000'000)) << "up to the first other";
    EXPECT_TRUE(service::is_cloud_token_valid("99999999999999999999", INT64_MAX - 1)) << "the nearest there is";
}

using CloudTokens = ServiceNas;

TEST_F(CloudTokens, SaveAndHandOut) {
    std::string encoded = shell("signin").out;
    encoded.pop_back();
    const std::string access = newest_token("access_tokens");
    const std::string refresh = newest_token("refresh_tokens");
    const std::string request = R"({"oauth_response_encoded": ")" + encoded + R"("})";
    const Answer saved = call("Save_cloudtoken", request);
    EXPECT_EQ(saved.reply, envelope(kSuccess, quoted("")));
    EXPECT_EQ(saved.lines, "UNKNOWN oauth_response_encoded: " + encoded +
                               "\nUNKNOWN plaintext: {\"access_token\":\"" + access + "\",\"refresh_token\":\"" +
                               refresh + "\",\"token_type\":\"bearer\"}\nUNKNOWN access_token: " + access +
                               "\nUNKNOWN refresh_token: " + refresh);
    EXPECT_EQ(vellum_token() + " " + stored(kBidConf, "VELLUM_REFRESH_TOKEN"), access + " " + refresh);
    EXPECT_EQ(call("Get_cloudtoken", "whatever").reply + requests(), envelope(kSuccess, quoted(access)));

    const std::string nothing = "Failed to read oauth response encoded";
    const std::string no_json = "Failed to parse JSON for oauth_response_encoded";
    const std::string missing = "Missing or invalid oauth_response_encoded";
    const std::string failed = "Failed to save cloud token";
    expect_requests("Save_cloudtoken",
                    {{"", 1010, nothing, nothing},
                     {"oauth", 1003, no_json, no_json},
                     {R"({"oauth_response_encoded": 5})", 1003, missing, missing},
                     {R"({"oauth_response_encoded": "%%%%"})", 1010, failed, "Invalid ciphertext length 0"}});
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    set_setting(kBidConf, "VELLUM_REFRESH_TOKEN", "old");
    const Broken tool(kSetcfg, "VELLUM_REFRESH_TOKEN");
    expect_call("Save_cloudtoken", request, {"stays half done", 1010, failed, "Failed to set VELLUM_REFRESH_TOKEN"});
    EXPECT_EQ(vellum_token() + " " + stored(kBidConf, "VELLUM_REFRESH_TOKEN"), access + " old");
}

TEST_F(CloudTokens, ExpiredTokenIsRenewed) {
    const std::string old_token = sign_nas_in("--expires-in -1");
    const std::string old_refresh = stored(kBidConf, "VELLUM_REFRESH_TOKEN");
    const Answer answer = call("Get_cloudtoken");
    const std::string token = vellum_token();
    EXPECT_NE(token, old_token);
    EXPECT_EQ(answer.reply, envelope(kSuccess, quoted(token)));
    EXPECT_TRUE(answer.lines.starts_with("DEBUG vellum_token is expired, need to be refreshed\nUNKNOWN plaintext: "));
    EXPECT_TRUE(answer.lines.ends_with("\nUNKNOWN Refresh cloud token successfully")) << answer.lines;
    EXPECT_EQ(request_texts(), std::vector{"POST auth-connector.harbex.example/oauth2/refresh\nContent-Type: "
                                           "application/x-www-form-urlencoded\napp_id=" +
                                           corvane::get_app_id() + "&provider=" + corvane::get_provider() +
                                           "&refresh_token=" + old_refresh});
    expect_call("Refresh_cloudtoken", "", {"valid or not", kSuccess, quoted(""), ""});
    EXPECT_NE(vellum_token(), token);
}

TEST_F(CloudTokens, RenewalThatFails) {
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    expect_requests("Get_cloudtoken", {{"never signed in", 1010, kNotGot, "vellum_token is empty"}});
    sign_nas_in("--expires-in -1");
    expect_faults("cloud:/oauth2/refresh", "Refresh_cloudtoken", "",
                  {{"status:500", 1010, kNotRefreshed, "Failed to call refresh API"},
                   {R"(body:{"result": 5})", 1010, kNotRefreshed, "No 'result' string in refresh response"}});
    const std::string end = "\nFailed to refresh vellum_token";
    expect_faults(kGetcfg, "Get_cloudtoken", "",
                  {{"VELLUM_REFRESH_TOKEN", 1010, kNotGot, "Failed to get refresh token" + end}});
    expect_faults(kSetcfg, "Get_cloudtoken", "",
                  {{"*", 1010, kNotGot, "Failed to set VELLUM_TOKEN\nFailed to save cloud token" + end}});
}

// A renewal of the account token that has begun goes on once this ends.
class Renewing {
public:
    Renewing() { std::filesystem::remove("/tmp/sign"); }
    void end() const { write_text("/tmp/sign", ""); }

private:
    const ReplacedTool tool_{kGetcfg,
                             "[ $2 != VELLUM_REFRESH_TOKEN ] || until [ -e /tmp/sign ]; do sleep 0.05; done\n"
                             "exec /sbin/getcfg.replaced \"$@\""};
};

class Renewals : public ServiceNas {
protected:
    // The reply of Get_corvanetoken for an organisation, of Get_cloudtoken for none.
    static std::string ask(const std::string& organisation) {
        if (organisation.empty()) return bus_call(kDaemonService, "Get_cloudtoken", "", 20).text;
        return bus_call(kDaemonService, "Get_corvanetoken", R"({"orgId": ")" + organisation + R"("})", 20).text;
    }
    bool is_logged(const std::string& line) {
        std::vector<std::string> lines;
        return wait_for_line(log(), line, lines);
    }
    // As many callers as the daemon has workers at most; the first is in its turn before the others come. The
    // replies.
    std::vector<std::string> ask_together(const std::vector<std::string>& organisations) {
        const Renewing renewing;
        std::vector<std::string> replies(organisations.size());
        std::vector<std::jthread> callers;
        for (size_t i = 0; i < replies.size(); i++) {
            (void)log().lines();
            callers.emplace_back([&, i] { replies[i] = ask(organisations[i]); });
            EXPECT_TRUE(i == 0 ? is_logged("DEBUG vellum_token is expired, need to be refreshed")
                               : wait_until([&] { return !log().lines().empty(); }));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // from their lines to their wait
        renewing.end();
        callers.clear();
        return replies;
    }
};

TEST_F(Renewals, AreSharedByThoseWhoWait) {
    const std::string refresh = "POST /oauth2/refresh";
    const std::string login = "\nPOST /cvnms/nmsuser/api/v1/edge/login";
    const struct {
        std::vector<std::string> organisations;
        std::string requests;
    } cases[] = {
        {{"org-7f3a1c", "", "org-7f3a1c", ""}, refresh + login},
        {{"org-0", "org-0"}, refresh + login},
        {{"org-0", "org-7f3a1c"}, refresh + login + login},  // not for another organisation
    };
    for (const auto& c : cases) {
        sign_nas_in("--expires-in -1");
        set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "0");
        const auto replies = ask_together(c.organisations);
        EXPECT_EQ(requests(), c.requests);
        for (size_t i = 0; i < replies.size(); i++) {
            const std::string& organisation = c.organisations[i];
            const std::string token = quoted(organisation.empty() ? vellum_token() : corvane_token());
            EXPECT_EQ(replies[i], organisation == "org-0" ? envelope(1010, "Failed to get corvane token")
                                                          : envelope(kSuccess, token))
                << organisation << i;
        }
    }
}

TEST_F(Renewals, HoldUpNobodyWithAGoodToken) {
    sign_nas_in("--expires-in -1");
    set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "0");
    const Renewing renewing;
    const std::jthread held_up([] { (void)ask("org-7f3a1c"); });
    EXPECT_TRUE(is_logged("DEBUG vellum_token is expired, need to be refreshed"));  // in both turns
    set_setting(kBidConf, "VELLUM_TOKEN", "good.4000000000");
    set_setting(kCorvaneConf, "CORVANE_TOKEN", "fresh");
    set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "4000000000");
    EXPECT_EQ(ask(""), envelope(kSuccess, quoted("good.4000000000")));
    EXPECT_EQ(ask("org-7f3a1c"), envelope(kSuccess, quoted("fresh")));
    renewing.end();
}

}  // namespace
}  // namespace harbex::test
