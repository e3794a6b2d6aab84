// The simulated cloud: what it refuses, remembers and records, and how it fails.
#include <gtest/gtest.h>

#include "cloud_client.h"
#include "support/fault.h"

namespace harbex::test {
namespace {

class Cloud : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(shell("appliance-service start cloud").status, 0); }
    void SetUp() override { shell("cloudctl requests --clear"); }

    const std::string host_ = "https://org-center.harbex.example", organizations_ = host_ + "/v1.2/organization";
    const std::string token_ = sign_in(), bearer_ = "Authorization: Bearer " + token_;
};

TEST_F(Cloud, RefusesWhatARealOneWould) {
    const std::string expired = "Authorization: Bearer " + sign_in("--expires-in -1");
    const std::string login = std::string(kCorvane) + "/cvnms/nmsuser/api/v1/edge/login";
    const auto get = [&](const std::string& authorization) {
        return std::vector<std::string>{"GET", organizations_, "-H", kAccept, "-H", authorization};
    };
    const struct {
        std::vector<std::string> request;
        const char* status;
    } cases[] = {
        {{"GET", "https://account-center.harbex.example/v1.2/organization", "-H", bearer_}, "404"},
        {{"DELETE", organizations_, "-H", kAccept, "-H", bearer_}, "405"},
        {{"GET", organizations_, "-H", "accept: text/plain", "-H", bearer_}, "400"},
        {get("Authorization: " + token_), "401"},
        {get(bearer_ + "9"), "401"},
        {get(expired), "401"},
        {get(bearer_), "200"},
        {{"POST", login, "-H", kJsonType, "-H", "vellumToken: " + token_, "-d", R"({"orgId":"org-7f3a1c"})"}, "400"},
        {{"POST", login, "-H", kJsonType, "-H", "vellumToken: " + token_, "-d", R"({"orgId": "org-7f3a1c"})"}, "200"},
    };
    for (const auto& c : cases) {
        const Exchange exchange = send_request(c.request);
        EXPECT_EQ(exchange.status, c.status) << c.request[0] << c.request.back() << ": " << exchange.body;
        EXPECT_TRUE(json_is_object(parse(exchange.body).get())) << exchange.body;
    }
}

TEST_F(Cloud, AcceptsAnEdgeOnlyByteForByte) {
    const std::string body = edge_body();
    std::string blank = body, other_site = body;
    blank.insert(body.find("\"locationAddress"), " ");
    other_site.replace(body.find("site-29b0e4"), 11, "site-5cc713");
    EXPECT_EQ(enrol(token_, blank).status, "400");
    EXPECT_EQ(enrol(token_, edge_body("grp-west")).status, "422");
    EXPECT_EQ(enrol(token_, other_site).status, "403");
    // The same hardware in the same organisation stays the same device.
    const JsonOwner first = parse(enrol(token_, body).body), second = parse(enrol(token_, body).body);
    EXPECT_EQ(at(first.get(), {"deviceId"}), at(second.get(), {"deviceId"}));
    EXPECT_NE(at(first.get(), {"corvaneToken"}), at(second.get(), {"corvaneToken"}));
}

TEST_F(Cloud, RecordsRequestsAsSent) {
    send_request({"POST", "https://corvane-api-alpha.harbex.example/some/path?b=2&a=1", "-H", "zEta: 1", "-H",
                  "ALPHA: two  words ", "-H", "zeta: 3", "-H", "Content-Type: text/x", "--data-binary",
                  "\x01raw \xff bytes\r\n\r\nand more"});
    send_request({"GET", host_ + "/next"});
    // Bytes that are no UTF-8 come as the characters of the same number.
    EXPECT_EQ(
        shell("cloudctl requests --clear").out,
        R"({"number":1,"host":"corvane-api-alpha.harbex.example","method":"POST","target":"/some/path?b=2&a=1",)"
        R"("headers":["Host: corvane-api-alpha.harbex.example","Accept: */*","zEta: 1","ALPHA: two  words ",)"
        R"("zeta: 3","Content-Type: text/x","Content-Length: 24"],)"
        R"("body":"\u0001raw ÿ bytes\r\n\r\nand more","status":404})"
        "\n"
        R"({"number":2,"host":"org-center.harbex.example","method":"GET","target":"/next",)"
        R"("headers":["Host: org-center.harbex.example","Accept: */*"],"body":"","status":404})"
        "\n");
}

TEST_F(Cloud, FailsAsTold) {
    enum : int { kOk = 0, kRefused = 7, kPartial = 18, kReset = 56, kCertificate = 60 };
    const struct {
        const char *name, *value;
        int curl;
        const char *status, *body;  // null: the real one
    } cases[] = {
        {"/v1.2/organization", R"(status:401,body:{"a":"b,c"})", kOk, "401", R"({"a":"b,c"})"},
        {"/v1.2/organization", R"(body:{"res)", kOk, "200", R"({"res)"},
        {"/v1.2/organization", "delay:0.01", kOk, "200", nullptr},
        {"/v1.2/organization", "close", kPartial, "200", nullptr},
        {"/v1.2/organization", "reset", kReset, "000", ""},
        {"/v1.2/organization", "refuse", kRefused, "000", ""},
        {"/v1.2/organization", "certificate:expired", kCertificate, "000", ""},
        {"org-center.harbex.example", "certificate:other-name", kCertificate, "000", ""},
        {"*-center.*", "status:500", kOk, "500", ""},
        {"account-center.harbex.example", "status:500", kOk, "200", nullptr},
        {"#1", "status:500", kOk, "500", ""},
        {"#2", "status:500", kOk, "200", nullptr},
    };
    for (const auto& c : cases) {
        const std::string label = std::string(c.name) + " " + c.value;
        shell("cloudctl requests --clear");
        const Fault fault(std::string("cloud:") + c.name, c.value);
        const Exchange exchange = send_request({"GET", organizations_, "-H", kAccept, "-H", bearer_});
        EXPECT_EQ(exchange.curl, c.curl) << label;
        EXPECT_EQ(exchange.status, c.status) << label;
        EXPECT_EQ(exchange.body, c.body == nullptr ? exchange.body : c.body) << label;
    }
}

}  // namespace
}  // namespace harbex::test
