#include "service/cloud_token.h"

#include <openssl/evp.h>

#include <memory>
#include <thread>

#include "common/openssl.h"
#include "corvane/device/credentials.h"
#include "service_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kRefreshPath = "cloud:/oauth2/refresh";
const std::string kNoTokens = "access_token or refresh_token not found or invalid";
const std::string kNotGot = "Failed to get cloud token";
const std::string kNotRefreshed = "Failed to refresh cloud token";

TEST(CloudToken, IsValidUntilItsTime) {
    const struct {
        const char* token;
        bool valid;
    } cases[] = {
        {"va1.abc.1800000001", true}, {"va1.abc.1800000000", false},      {"1800000001.5", false},
        {"1800000001", true},         {"t.4294967296000", true},          {"va1.1800000001.", false},
        {"va1. +1800000001s", true},  {"va1.99999999999999999999", true}, {"va1.-99999999999999999999", false},
        {"va1.soon", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(service::is_cloud_token_valid(c.token, 1'800'000'000), c.valid) << c.token;
}

// The encoded answer of a sign-in as the cloud makes it, for any plaintext of whole blocks (filled up with zero
// bytes).
std::string seal(std::string plain) {
    const std::string key = corvane::get_app_secret();
    plain.resize((plain.size() + 15) / 16 * 16);
    const std::string vector = "0123456789abcdef";
    std::string sealed(plain.size(), '\0');
    const auto bytes = [](const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); };
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    int length = 0;
    EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, bytes(key), bytes(vector));
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(sealed.data()), &length, bytes(plain),
                      static_cast<int>(plain.size()));
    return openssl::base64_encode(vector + sealed);
}
std::string tokens(const std::string& access, const std::string& refresh) {
    return R"({"access_token": ")" + access + R"(", "refresh_token": ")" + refresh + R"("})";
}
std::string save_request(const std::string& encoded) {
    return R"({"oauth_response_encoded": ")" + encoded + R"("})";
}
std::string renewal(const std::string& plain) {
    return R"(body:{"result": ")" + seal(plain) + R"("})";
}

class CloudTokens : public ServiceNas {
protected:
    static std::string both() { return vellum_token() + " " + stored(kBidConf, "VELLUM_REFRESH_TOKEN"); }
};

TEST_F(CloudTokens, SaveAndHandOut) {
    std::string encoded = shell("signin").out;
    encoded.pop_back();
    const std::string access = newest_token("access_tokens");
    const std::string refresh = newest_token("refresh_tokens");
    const Answer saved = call("Save_cloudtoken", save_request(encoded));
    EXPECT_EQ(saved.reply, envelope(kSuccess, quoted("")));
    EXPECT_EQ(saved.lines, "UNKNOWN oauth_response_encoded: " + encoded +
                               "\nUNKNOWN plaintext: {\"access_token\":\"" + access + "\",\"refresh_token\":\"" +
                               refresh + "\",\"token_type\":\"bearer\"}\nUNKNOWN access_token: " + access +
                               "\nUNKNOWN refresh_token: " + refresh);
    EXPECT_EQ(both(), access + " " + refresh);
    EXPECT_EQ(call("Get_cloudtoken", "whatever").reply + requests(), envelope(kSuccess, quoted(access)));
}

TEST_F(CloudTokens, SaveRefuses) {
    const std::string nothing = "Failed to read oauth response encoded";
    const std::string no_json = "Failed to parse JSON for oauth_response_encoded";
    const std::string missing = "Missing or invalid oauth_response_encoded";
    const std::string failed = "Failed to save cloud token";
    const auto base64 = [](size_t bytes) { return save_request(openssl::base64_encode(std::string(bytes, 'x'))); };
    const auto sealed = [](const std::string& plain) { return save_request(seal(plain)); };
    const std::string good = tokens("a.1", "r");
    const std::string filled = good + std::string(16 - good.size() % 16, '\4');
    expect_requests("Save_cloudtoken",
                    {{"", 1010, nothing, nothing},
                     {"oauth", 1003, no_json, no_json},
                     {R"({"oauth_response_encoded": 5})", 1003, missing, missing},
                     {save_request("%%%%"), 1010, failed, "Invalid ciphertext length 0"},
                     {base64(16), 1010, failed, "Failed to parse JSON: " + parser_text("")},
                     {sealed(filled), 1010, failed, "Failed to parse JSON: " + parser_text(good + "\4")},
                     {sealed(R"({"access_token": "a.1"})"), 1010, failed, kNoTokens},
                     {sealed(tokens(R"(a\nb = c)", "r")), 1010, failed, "Failed to set VELLUM_TOKEN"}});
    const std::string with_rest = good + std::string(1, '\0') + "and more";
    expect_call("Save_cloudtoken", sealed(with_rest), {"text behind a zero byte", kSuccess, quoted(""), ""});
    EXPECT_EQ(both(), "a.1 r");
    const Broken tool(kSetcfg, "VELLUM_REFRESH_TOKEN");
    expect_call("Save_cloudtoken", sealed(tokens("b.2", "s")),
                {"stays half done", 1010, failed, "Failed to set VELLUM_REFRESH_TOKEN"});
    EXPECT_EQ(both(), "b.2 r");
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
    const std::string request =
        "POST auth-connector.harbex.example/oauth2/refresh\nContent-Type: "
        "application/x-www-form-urlencoded\napp_id=" +
        corvane::get_app_id() + "&provider=" + corvane::get_provider() + "&refresh_token=";
    EXPECT_EQ(request_texts(), std::vector{request + old_refresh});

    // Valid or not, this one renews, and it sends what is stored as it is.
    expect_call("Refresh_cloudtoken", "", {"valid", kSuccess, quoted(""), ""});
    EXPECT_NE(vellum_token(), token);
    (void)requests();
    set_setting(kBidConf, "VELLUM_REFRESH_TOKEN", "a+b/c==&d=%20 e");
    expect_call("Refresh_cloudtoken", "", {"odd", 1010, kNotRefreshed, "Failed to call refresh API"});
    EXPECT_EQ(request_texts(), std::vector{request + "a+b/c==&d=%20 e"});
}

TEST_F(CloudTokens, RenewalThatFails) {
    set_setting(kBidConf, "VELLUM_TOKEN", "");
    expect_requests("Get_cloudtoken", {{"never signed in", 1010, kNotGot, "vellum_token is empty"}});
    sign_nas_in("--expires-in -1");
    expect_faults(kRefreshPath, "Refresh_cloudtoken", "",
                  {{"status:500", 1010, kNotRefreshed, "Failed to call refresh API"},
                   {R"(body:{"result": 5})", 1010, kNotRefreshed, "No 'result' string in refresh response"},
                   {renewal("{}"), 1010, kNotRefreshed, kNoTokens + "\nFailed to save cloud token"}});
    const std::string end = "\nFailed to refresh vellum_token";
    expect_faults(kGetcfg, "Get_cloudtoken", "",
                  {{"VELLUM_TOKEN", 1010, kNotGot, "Failed to get vellum_token"},
                   {"VELLUM_REFRESH_TOKEN", 1010, kNotGot, "Failed to get refresh token" + end}});
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
        const char* cloud;  // what it answers to a refresh
        std::string requests;
    } cases[] = {
        {{"org-7f3a1c", "", "org-7f3a1c", ""}, "delay:0", refresh + login},
        {{"org-0", "org-0", "org-7f3a1c"}, "delay:0", refresh + login + login},  // not for another organisation
        {{"", "", "", ""}, "status:500", refresh},
    };
    for (const auto& c : cases) {
        sign_nas_in("--expires-in -1");
        set_setting(kCorvaneConf, "CORVANE_TOKEN_LAST_SEEN", "0");
        const Broken cloud(kRefreshPath, c.cloud);
        const auto replies = ask_together(c.organisations);
        EXPECT_EQ(requests(), c.requests);
        for (size_t i = 0; i < replies.size(); i++) {
            const std::string& organisation = c.organisations[i];
            const bool good = organisation != "org-0" && c.cloud[0] == 'd';
            const std::string name = organisation.empty() ? kNotGot : "Failed to get corvane token";
            const std::string token = organisation.empty() ? vellum_token() : corvane_token();
            EXPECT_EQ(replies[i], good ? envelope(kSuccess, quoted(token)) : envelope(1010, name))
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
