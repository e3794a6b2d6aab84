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
const std::string kDenied = R"({"code":40100,"message":"unknown refresh token"})";

TEST(CloudToken, IsValidUntilItsTime) {
    constexpr int64_t kNow = 1'800'000'000;
    const struct {
        const char* name;
        const char* token;
        bool valid;
    } cases[] = {
        {"a second left", "va1.abc.1800000001", true},
        {"ends now", "va1.abc.1800000000", false},
        {"ended a second ago", "va1.abc.1799999999", false},
        {"the last point counts", "1800000001.5", false},
        {"no point: all of it", "1800000001", true},
        {"beyond 32 bits", "t.4294967296000", true},
        {"nothing behind the point", "va1.1800000001.", false},
        {"no number", "va1.never", false},
        {"a number and more", "va1.1800000001s", false},
        {"beyond 64 bits", "va1.99999999999999999999", false},
        {"negative", "va1.-1800000001", false},
        {"empty", "", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(service::is_cloud_token_valid(c.token, kNow), c.valid) << c.name;
}

// The encoded answer of a sign-in as the cloud makes it, for any plaintext of whole blocks (filled up with zero
// bytes).
std::string seal(std::string plain, const std::string& key = corvane::get_app_secret()) {
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
    const std::string missing = "Missing or invalid oauth_response_encoded";
    const std::string no_json = "Failed to parse JSON for oauth_response_encoded";
    const struct {
        const char* name;
        const char* request;
        int code;
        std::string words;
    } cases[] = {
        {"nothing", "", 1010, "Failed to read oauth response encoded"},
        {"no JSON", "oauth", 1003, no_json},
        {"cut short", R"({"oauth_response_encoded": "YWJj)", 1003, no_json},
        {"no object", R"(["oauth_response_encoded"])", 1003, missing},
        {"no such member", R"({"oauth": "YWJj"})", 1003, missing},
        {"a number", R"({"oauth_response_encoded": 5})", 1003, missing},
    };
    const std::string before = all_settings();
    for (const auto& c : cases)
        expect_call(c.name, "Save_cloudtoken", c.request, refusal(c.code, c.words), {c.words});
    EXPECT_EQ(all_settings(), before);
}

TEST_F(CloudTokens, SaveRefusesMalformedAnswers) {
    const auto length = [](int bytes) { return "Invalid ciphertext length " + std::to_string(bytes); };
    const auto no_json = [](const std::string& plain) {
        return "Failed to parse JSON: " + parser_text(plain.c_str());
    };
    const auto base64 = [](size_t bytes) { return openssl::base64_encode(std::string(bytes, 'x')); };
    const std::string missing = "access_token or refresh_token not found or invalid";
    const std::string good = tokens("a.1", "r");
    std::string wrapped = seal(good);
    wrapped.insert(8, "\n");
    const struct {
        const char* name;
        std::string encoded;
        std::string error;  // a prefix where the parser's words depend on random bytes
    } cases[] = {
        {"empty", "", length(0)},
        {"no Base64", "%%%%", length(0)},
        {"lines of Base64", wrapped, "Invalid ciphertext length "},
        {"less than a vector", base64(15), length(15)},
        {"between two blocks", base64(17), length(17)},
        {"not whole blocks", base64(47), length(47)},
        {"a vector and no text", base64(16), no_json("")},
        {"zero bytes only", seal(std::string(16, '\0')), no_json("")},
        {"another key", seal(good, "this-is-not-the-key-of-the-cloud"), "Failed to parse JSON: "},
        {"filled with other bytes", seal(good + std::string(16 - good.size() % 16, '\4')), no_json(good + "\4")},
        {"cut short", seal(good.substr(0, good.size() - 1)), no_json(good.substr(0, good.size() - 1))},
        {"no object", seal(R"(["access_token", "refresh_token"])"), missing},
        {"no access token", seal(R"({"refresh_token": "r"})"), missing},
        {"no refresh token", seal(R"({"access_token": "a.1"})"), missing},
        {"a number", seal(R"({"access_token": "a.1", "refresh_token": 7})"), missing},
        {"two lines", seal(tokens(R"(a\nVELLUM_REFRESH_TOKEN = b)", "r")), "Failed to set VELLUM_TOKEN"},
    };
    set_setting(kBidConf, "VELLUM_TOKEN", "before.1");
    const std::string before = all_settings();
    for (const auto& c : cases) {
        const Outcome outcome = call("Save_cloudtoken", save_request(c.encoded));
        EXPECT_EQ(outcome.reply, refusal(1010, "Failed to save cloud token")) << c.name;
        ASSERT_EQ(outcome.errors().size(), 1U) << c.name;
        EXPECT_TRUE(outcome.errors()[0].starts_with(c.error)) << c.name << ": " << outcome.errors()[0];
        EXPECT_EQ(all_settings(), before) << c.name;
    }

    const std::string with_rest = seal(good + std::string(1, '\0') + "and more");
    expect_call("text behind a zero byte", "Save_cloudtoken", save_request(with_rest), success(R"("")"), {});
    EXPECT_EQ(stored(), "a.1 r");
}

TEST_F(CloudTokens, SaveStopsAtTheFirstTokenThatCannotBeStored) {
    const std::string refused = refusal(1010, "Failed to save cloud token");
    set_setting(kBidConf, "VELLUM_TOKEN", "old.1");
    {
        const FailingSetting tool("setcfg", "VELLUM_TOKEN");
        expect_call("access", "Save_cloudtoken", save_request(seal(tokens("new.2", "r"))), refused,
                    {"Failed to set VELLUM_TOKEN"});
    }
    EXPECT_EQ(stored(), "old.1 (none)");
    const FailingSetting tool("setcfg", "VELLUM_REFRESH_TOKEN");
    expect_call("refresh", "Save_cloudtoken", save_request(seal(tokens("new.2", "r"))), refused,
                {"Failed to set VELLUM_REFRESH_TOKEN"});
    EXPECT_EQ(stored(), "new.2 (none)");
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
    const std::string no_call = "Failed to call refresh API";
    const std::string no_result = "No 'result' string in refresh response";
    const std::string not_saved = "Failed to save cloud token";
    const auto no_json = [](const char* text) { return "Failed to parse JSON: " + parser_text(text); };
    const auto result = [](const std::string& encoded) { return R"(body:{"result": ")" + encoded + R"("})"; };
    const struct {
        const char* name;
        std::string fault;
        std::vector<std::string> errors;
    } cases[] = {
        {"refused", "refuse", {no_call}},
        {"reset", "reset", {no_call}},
        {"cut off half-way", "close", {no_call}},
        {"certificate has expired", "certificate:expired", {no_call}},
        {"certificate of another host", "certificate:other-name", {no_call}},
        {"moved", "status:301,body:{}", {no_call}},
        {"denied", "status:401,body:" + kDenied, {no_call}},
        {"out of order", result(seal(tokens("a.1", "r"))).replace(0, 5, "status:500,body:"), {no_call}},
        {"nothing", "status:204", {no_json("")}},
        {"no JSON", "body:<html>", {no_json("<html>")}},
        {"cut short", R"(body:{"result": "YWJj)", {no_json(R"({"result": "YWJj)")}},
        {"no object", "body:[]", {no_result}},
        {"a number", R"(body:{"result": 5})", {no_result}},
        {"no Base64", result("%%%%"), {"Invalid ciphertext length 0", not_saved}},
        {"no tokens", result(seal("{}")), {"access_token or refresh_token not found or invalid", not_saved}},
    };
    sign_nas_in("--expires-in -1");
    // Not even this switches the checks of this request off.
    run_program({"/sbin/setcfg", kDebugSection, "InsecureCurl", "true", "-f", kCorvaneConf});
    const std::string before = all_settings();
    for (const auto& c : cases) {
        const Fault fault(kRefreshPath, c.fault);
        expect_call(c.name, "Refresh_cloudtoken", "", refusal(1010, "Failed to refresh cloud token"), c.errors);
        std::vector<std::string> errors = c.errors;
        errors.push_back("Failed to refresh vellum_token");
        expect_call(c.name, "Get_cloudtoken", "", refusal(1010, "Failed to get cloud token"), errors);
        EXPECT_EQ(all_settings(), before) << c.name;
    }
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
