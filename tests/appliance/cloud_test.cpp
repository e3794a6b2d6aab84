// The simulated cloud: what it accepts, refuses, remembers and records.
#include <gtest/gtest.h>

#include "cloud_client.h"
#include "support/fault.h"

namespace harbex::test {
namespace {

class Cloud : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(shell("appliance-service start cloud").status, 0); }
    void SetUp() override { shell("cloudctl requests --clear"); }
};

const std::string kLoginUrl = std::string(kCorvane) + "/cvnms/nmsuser/api/v1/edge/login";

TEST_F(Cloud, RefusesWhatARealOneWould) {
    const std::string token = sign_in();
    const std::string bearer = "Authorization: Bearer " + token;
    const std::string expired = "Authorization: Bearer " + sign_in("--expires-in -1");
    const std::string organizations = kOrganizations;
    const std::string vellum = "vellumToken: " + token;
    const struct {
        const char* name;
        Request request;
        long status;
    } cases[] = {
        {"unknown host's path",
         {"GET", "https://account-center.harbex.example/v1.2/organization", {kAccept, bearer}, ""},
         404},
        {"wrong method", {"DELETE", organizations, {kAccept, bearer}, ""}, 405},
        {"no accept line", {"GET", organizations, {bearer}, ""}, 400},
        {"bare token", {"GET", organizations, {kAccept, "Authorization: " + token}, ""}, 401},
        {"unknown token", {"GET", organizations, {kAccept, bearer + "9"}, ""}, 401},
        {"expired token", {"GET", organizations, {kAccept, expired}, ""}, 401},
        {"known token", {"GET", organizations, {kAccept, bearer}, ""}, 200},
        {"log-in, no blank", {"POST", kLoginUrl, {kJsonType, vellum}, R"({"orgId":"org-7f3a1c"})"}, 400},
        {"log-in", {"POST", kLoginUrl, {kJsonType, vellum}, R"({"orgId": "org-7f3a1c"})"}, 200},
    };
    for (const auto& c : cases) {
        const Exchange exchange = send_request(c.request);
        EXPECT_EQ(exchange.curl, CURLE_OK) << c.name;
        EXPECT_EQ(exchange.status, c.status) << c.name << ": " << exchange.body;
        EXPECT_TRUE(json_is_object(parse(exchange.body).get())) << c.name;
    }
}

TEST_F(Cloud, AcceptsAnEdgeOnlyByteForByte) {
    const std::string token = sign_in();
    const std::string body = edge_body();
    std::string blank = body;
    blank.insert(body.find("\"locationAddress"), " ");
    std::string other_site = body;
    other_site.replace(body.find("site-29b0e4"), 11, "site-5cc713");
    const struct {
        const char* name;
        std::string body;
        long status;
    } cases[] = {
        {"as sent", body, 200},
        {"blank before locationAddress", blank, 400},
        {"unknown region", edge_body("grp-west"), 422},
        {"another organisation's site", other_site, 403},
    };
    for (const auto& c : cases) {
        const Exchange exchange = enrol(token, c.body);
        EXPECT_EQ(exchange.status, c.status) << c.name << ": " << exchange.body;
    }
    // The same hardware in the same organisation stays the same device.
    const JsonOwner first = parse(enrol(token, body).body);
    const JsonOwner second = parse(enrol(token, body).body);
    EXPECT_EQ(at(first.get(), {"deviceId"}), at(second.get(), {"deviceId"}));
    EXPECT_NE(at(first.get(), {"corvaneToken"}), at(second.get(), {"corvaneToken"}));
    EXPECT_TRUE(json_is_integer(json_object_get(first.get(), "serialNumber")));
}

TEST_F(Cloud, RecordsRequestsAsSent) {
    send_request({"POST",
                  "https://corvane-api-alpha.harbex.example/some/path?b=2&a=1",
                  {"zEta: 1", "ALPHA: two  words ", "zeta: 3", "Content-Type: text/x", "User-Agent:"},
                  "\x01raw \xff bytes\r\n\r\nand more"});
    send_request({"GET", "https://org-center.harbex.example/next", {}, ""});
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
    const std::string token = sign_in();
    const auto ask = [&] {
        return send_request({"GET", kOrganizations, {kAccept, "Authorization: Bearer " + token}, ""});
    };
    const struct {
        const char *name, *value;
        int curl;
        long status;
        const char* body;  // null: the real one
    } cases[] = {
        {"/v1.2/organization", R"(status:401,body:{"a":"b,c"})", CURLE_OK, 401, R"({"a":"b,c"})"},
        {"/v1.2/organization", R"(body:{"res)", CURLE_OK, 200, R"({"res)"},
        {"/v1.2/organization", "delay:0.01", CURLE_OK, 200, nullptr},
        {"/v1.2/organization", "close", CURLE_PARTIAL_FILE, 200, nullptr},
        {"/v1.2/organization", "reset", CURLE_RECV_ERROR, 0, ""},
        {"/v1.2/organization", "refuse", CURLE_COULDNT_CONNECT, 0, ""},
        {"/v1.2/organization", "certificate:expired", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
        {"org-center.harbex.example", "certificate:other-name", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
        {"*-center.*", "status:500", CURLE_OK, 500, ""},
        {"account-center.harbex.example", "refuse", CURLE_OK, 200, nullptr},
        {"#1", "status:500", CURLE_OK, 500, ""},
        {"#2", "status:500", CURLE_OK, 200, nullptr},
    };
    for (const auto& c : cases) {
        const std::string label = std::string(c.name) + " " + c.value;
        shell("cloudctl requests --clear");
        const Fault fault(std::string("cloud:") + c.name, c.value);
        const Exchange exchange = ask();
        EXPECT_EQ(exchange.curl, c.curl) << label;
        EXPECT_EQ(exchange.status, c.status) << label;
        EXPECT_EQ(exchange.body, c.body == nullptr ? exchange.body : c.body) << label;
    }
    EXPECT_EQ(ask().status, 200);
}

}  // namespace
}  // namespace harbex::test
