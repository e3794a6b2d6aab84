#include "service/cloud_token.h"

#include <openssl/evp.h>

#include "common/json_owner.h"
#include "common/openssl.h"
#include "corvane/device/settings.h"
#include "service_nas.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

constexpr const char* kRefreshPath = "cloud:/oauth2/refresh";
const std::string kNoTokens = "access_token or refresh_token not found or invalid";

TEST(CloudToken, IsValidUntilItsTime) {
    constexpr int64_t kNow = 1'800'000'000;
    const struct {
        const char* name;
        const char* token;
        bool valid;
    } cases[] = {
        {"a second left", "va1.abc.1800000001", true},      {"ends now", "va1.abc.1800000000", false},
        {"the last point counts", "1800000001.5", false},   {"no point: all of it", "1800000001", true},
        {"beyond 32 bits", "t.4294967296000", true},        {"nothing behind the point", "va1.1800000001.", false},
        {"a number and more", "va1. +1800000001s", true},   {"beyond 64 bits", "va1.99999999999999999999", true},
        {"below them", "va1.-99999999999999999999", false}, {"no number", "va1.soon", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(service::is_cloud_token_valid(c.token, kNow), c.valid) << c.name;
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
    const JsonOwner request(json_pack("{s:s}", "oauth_response_encoded", encoded.c_str()));
    return json_dump_text(request.get(), 0);
}

class CloudTokens : public ServiceNas {
protected:
    // "ACCESS REFRESH" as stored.
    static std::string stored() {
        return setting(kBidConf, "VELLUM_TOKEN") + " " + setting(kBidConf, "VELLUM_REFRESH_TOKEN");
    }
};

TEST_F(CloudTokens, SaveAndHandOut) {
    std::string encoded = shell("signin").out;
    encoded.pop_back();
    const std::string access = newest_token("access_tokens");
    const std::string refresh = newest_token("refresh_tokens");
    const Outcome saved = call("Save_cloudtoken", save_request(encoded));
    EXPECT_EQ(saved.reply, success(R"("")"));
    const std::string plain =
        R"({"access_token":")" + access + R"(","refresh_token":")" + refresh + R"(","token_type":"bearer"})";
    EXPECT_EQ(saved.lines, (std::vector<std::string>{
                               "UNKNOWN oauth_response_encoded: " + encoded,
                               "UNKNOWN plaintext: " + plain,
                               "UNKNOWN access_token: " + access,
                               "UNKNOWN refresh_token: " + refresh,
                           }));
    EXPECT_EQ(stored(), access + " " + refresh);

    const Outcome got = call("Get_cloudtoken", "whatever");
    EXPECT_EQ(got.reply, success("\"" + access + "\""));
    EXPECT_EQ(got.lines, std::vector<std::string>());
    EXPECT_EQ(cloud_requests(), std::vector<std::string>()) << "a valid token needs no cloud";
}

TEST_F(CloudTokens, SaveRefusesMalformedRequests) {
    const std::string nothing = "Failed to read oauth response encoded";
    const std::string no_json = "Failed to parse JSON for oauth_response_encoded";
    const std::string missing = "Missing or invalid oauth_response_encoded";
    expect_rows("Save_cloudtoken",
                {
                    {"nothing", "", refusal(1010, nothing), {nothing}},
                    {"no JSON", "oauth", refusal(1003, no_json), {no_json}},
                    {"no object", R"(["oauth_response_encoded"])", refusal(1003, missing), {missing}},
                    {"a number", R"({"oauth_response_encoded": 5})", refusal(1003, missing), {missing}},
                });
}

TEST_F(CloudTokens, SaveRefusesMalformedAnswers) {
    const std::string refused = refusal(1010, "Failed to save cloud token");
    const auto base64 = [](size_t bytes) { return save_request(openssl::base64_encode(std::string(bytes, 'x'))); };
    const auto sealed = [](const std::string& plain) { return save_request(seal(plain)); };
    const std::string good = tokens("a.1", "r");
    const std::string filled = good + std::string(16 - good.size() % 16, '\4');
    set_setting(kBidConf, "VELLUM_TOKEN", "before.1");
    expect_rows("Save_cloudtoken",
                {
                    {"no Base64", save_request("%%%%"), refused, {"Invalid ciphertext length 0"}},
                    {"not whole blocks", base64(47), refused, {"Invalid ciphertext length 47"}},
                    {"a vector and no text", base64(16), refused, {"Failed to parse JSON: " + parser_text("")}},
                    {"filled with other bytes",
                     sealed(filled),
                     refused,
                     {"Failed to parse JSON: " + parser_text((good + "\4").c_str())}},
                    {"no access token", sealed(R"({"refresh_token": "r"})"), refused, {kNoTokens}},
                    {"no refresh token", sealed(R"({"access_token": "a.1"})"), refused, {kNoTokens}},
                    {"two lines",
                     sealed(tokens(R"(a\nVELLUM_REFRESH_TOKEN = b)", "r")),
                     refused,
                     {"Failed to set VELLUM_TOKEN"}},
                });
    const std::string with_rest = sealed(good + std::string(1, '\0') + "and more");
    expect_call("text behind a zero byte", "Save_cloudtoken", with_rest, success(R"("")"), {});
    EXPECT_EQ(stored(), "a.1 r");
    const FailingSetting tool("setcfg", "VELLUM_REFRESH_TOKEN");
    expect_call("stays half done", "Save_cloudtoken", sealed(tokens("b.2", "s")), refused,
                {"Failed to set VELLUM_REFRESH_TOKEN"});
    EXPECT_EQ(stored(), "b.2 r");
}

TEST_F(CloudTokens, ExpiredTokenIsRenewed) {
    const std::string old_token = sign_nas_in("--expires-in -1");
    const std::string old_refresh = setting(kBidConf, "VELLUM_REFRESH_TOKEN");
    const Outcome outcome = call("Get_cloudtoken");
    const std::string token = setting(kBidConf, "VELLUM_TOKEN");
    EXPECT_NE(token, old_token);
    EXPECT_EQ(outcome.reply, success("\"" + token + "\""));
    ASSERT_EQ(outcome.lines.size(), 5U);
    EXPECT_EQ(outcome.lines.front(), "DEBUG vellum_token is expired, need to be refreshed");
    EXPECT_EQ(outcome.lines.back(), "UNKNOWN Refresh cloud token successfully");
    const std::string body =
        "app_id=" + corvane::get_app_id() + "&provider=" + corvane::get_provider() + "&refresh_token=" + old_refresh;
    EXPECT_EQ(cloud_requests(), std::vector<std::string>{"POST auth-connector.harbex.example/oauth2/refresh\n"
                                                         "Host: auth-connector.harbex.example\n"
                                                         "Accept: */*\n"
                                                         "Content-Type: application/x-www-form-urlencoded\n"
                                                         "Content-Length: " +
                                                         std::to_string(body.size()) + "\n\n" + body});

    // Valid or not, this one renews.
    expect_call("valid", "Refresh_cloudtoken", "", success(R"("")"), {});
    EXPECT_NE(setting(kBidConf, "VELLUM_TOKEN"), token);
    EXPECT_EQ(cloud_requests().size(), 1U);
}

TEST_F(CloudTokens, RefreshTokenIsSentAsItIs) {
    for (const std::string token : {"a+b/c==&d=%20 e", ""}) {
        set_setting(kBidConf, "VELLUM_REFRESH_TOKEN", token);
        expect_call("sent", "Refresh_cloudtoken", "", refusal(1010, "Failed to refresh cloud token"),
                    {"Failed to call refresh API"});
        const auto requests = cloud_requests();
        ASSERT_EQ(requests.size(), 1U);
        EXPECT_TRUE(requests[0].ends_with("&refresh_token=" + token)) << requests[0];
    }
}

TEST_F(CloudTokens, RenewalThatFails) {
    const std::string refused = refusal(1010, "Failed to refresh cloud token");
    const auto result = [](const std::string& plain) { return R"(body:{"result": ")" + seal(plain) + R"("})"; };
    sign_nas_in("--expires-in -1");
    expect_faults(kRefreshPath, "Refresh_cloudtoken", "",
                  {
                      {"out of order",
                       result(tokens("a.1", "r")).replace(0, 5, "status:500,body:"),
                       refused,
                       {"Failed to call refresh API"}},
                      {"no JSON", "body:<html>", refused, {"Failed to parse JSON: " + parser_text("<html>")}},
                      {"a number", R"(body:{"result": 5})", refused, {"No 'result' string in refresh response"}},
                      {"no tokens", result("{}"), refused, {kNoTokens, "Failed to save cloud token"}},
                  });
}

TEST_F(CloudTokens, SettingsThatFail) {
    const std::string refused = refusal(1010, "Failed to get cloud token");
    expect_call("never signed in", "Get_cloudtoken", "", refused, {"vellum_token is empty"});
    {
        const FailingSetting tool("getcfg", "VELLUM_TOKEN");
        expect_call("token", "Get_cloudtoken", "", refused, {"Failed to get vellum_token"});
    }
    sign_nas_in("--expires-in -1");
    {
        const FailingSetting tool("getcfg", "VELLUM_REFRESH_TOKEN");
        expect_call("refresh token", "Get_cloudtoken", "", refused,
                    {"Failed to get refresh token", "Failed to refresh vellum_token"});
    }
    {
        const FailingSetting tool("setcfg");
        expect_call("storing", "Get_cloudtoken", "", refused,
                    {"Failed to set VELLUM_TOKEN", "Failed to save cloud token", "Failed to refresh vellum_token"});
    }
    // The second reading is judged like the first, but for its time.
    const auto renewed_as = [&](const std::string& access) {
        set_setting(kBidConf, "VELLUM_TOKEN", "old.1");
        return Fault(kRefreshPath, R"(body:{"result": ")" + seal(tokens(access, "r")) + R"("})");
    };
    {
        const Fault fault = renewed_as("");
        expect_call("renewed to nothing", "Get_cloudtoken", "", refused, {"vellum_token is empty"});
    }
    const Fault fault = renewed_as("expired.1");
    expect_call("renewed, expired again", "Get_cloudtoken", "", success(R"("expired.1")"), {});
    EXPECT_EQ(stored(), "expired.1 r");
}

TEST_F(CloudTokens, CallersShareOneRenewal) {
    const struct {
        const char* name;
        const char* end;
        size_t callers;  // whoever comes later than the four workers have room for finds the new token
    } cases[] = {
        {"that fails", "exit 1", 4},
        {"that succeeds", "exec /sbin/setcfg.replaced \"$@\"", 8},
    };
    for (const auto& c : cases) {
        sign_nas_in("--expires-in -1");
        const std::string old_token = setting(kBidConf, "VELLUM_TOKEN");
        (void)cloud_requests();
        const ReplacedTool tool("/sbin/setcfg", std::string(kGate) + "\n" + c.end);
        const auto replies = call_together("Get_cloudtoken", std::vector<std::string>(c.callers),
                                           "DEBUG vellum_token is expired, need to be refreshed");
        EXPECT_EQ(cloud_requests().size(), 1U) << c.name;
        const std::string token = setting(kBidConf, "VELLUM_TOKEN");
        const std::string expected =
            token == old_token ? refusal(1010, "Failed to get cloud token") : success("\"" + token + "\"");
        EXPECT_EQ(token == old_token, c.callers == 4) << c.name;
        EXPECT_EQ(replies, std::vector<std::string>(c.callers, expected)) << c.name;
    }
}

}  // namespace
}  // namespace harbex::test
