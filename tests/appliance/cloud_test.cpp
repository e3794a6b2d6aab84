// The simulated cloud: what it accepts, refuses, remembers and records.
#include <gtest/gtest.h>

#include "cloud_client.h"

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
    const std::string login_body = R"({"orgId": "org-7f3a1c"})";
    const std::string created = R"({"name": "New", "size": "5~9"})";
    const std::string organizations = kOrganizations;
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
        {"create", {"POST", organizations, {kAccept, bearer, kJsonType}, created}, 200},
        {"login, no blank",
         {"POST", kLoginUrl, {kJsonType, "vellumToken: " + token}, R"({"orgId":"org-7f3a1c"})"},
         400},
        {"login", {"POST", kLoginUrl, {kJsonType, "vellumToken: " + token}, login_body}, 200},
    };
    for (const auto& c : cases) {
        const Exchange exchange = send_request(c.request);
        EXPECT_EQ(exchange.curl, CURLE_OK) << c.name;
        EXPECT_EQ(exchange.status, c.status) << c.name << ": " << exchange.body;
        EXPECT_TRUE(json_is_object(parse(exchange.body).get())) << c.name;
    }
}

std::string with(std::string text, const std::string& from, const std::string& to) {
    const size_t found = text.find(from);
    if (found == std::string::npos) return "(nothing to change)";
    return text.replace(found, from.size(), to);
}

TEST_F(Cloud, AcceptsAnEdgeOnlyByteForByte) {
    const std::string token = sign_in();
    const std::string body = edge_body();
    const struct {
        const char* name;
        std::string body;
        long status;
    } cases[] = {
        {"as sent", body, 200},
        {"blank before locationAddress", with(body, R"(,"loc)", R"(, "loc)"), 400},
        {"other order", with(body, R"("licenseId": "", "country": "")", R"("country": "", "licenseId": "")"), 400},
        {"member missing", with(body, R"(, "deviceRole": "edge")", ""), 400},
        {"unknown region", edge_body("grp-west"), 422},
        {"another organisation's site", with(body, "site-29b0e4", "site-5cc713"), 403},
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
    const std::string body = "\x01raw \xff bytes\r\n\r\nand more";
    send_request({"POST",
                  "https://corvane-api-alpha.harbex.example/some/path?b=2&a=1",
                  {"zEta: 1", "ALPHA: two  words ", "zeta: 3", "Content-Type: text/x", "User-Agent:"},
                  body});
    send_request({"GET", "https://org-center.harbex.example/next", {}, ""});
    const auto records = recorded_requests();
    ASSERT_EQ(records.size(), 2U);
    const json_t* first = records[0].get();
    EXPECT_EQ(at(first, {"host"}), "corvane-api-alpha.harbex.example");
    EXPECT_EQ(at(first, {"method"}), "POST");
    EXPECT_EQ(at(first, {"target"}), "/some/path?b=2&a=1");
    EXPECT_EQ(at(first, {"status"}), "404");
    // Bytes that are no UTF-8 come as the characters of the same number.
    EXPECT_EQ(at(first, {"body"}), "\x01raw \xc3\xbf bytes\r\n\r\nand more");
    std::string lines;
    size_t index;
    json_t* line;
    json_array_foreach(json_object_get(first, "headers"), index, line) {
        lines += json_string_value(line);
        lines += "\n";
    }
    EXPECT_EQ(lines,
              "Host: corvane-api-alpha.harbex.example\nAccept: */*\nzEta: 1\nALPHA: two  words \nzeta: 3\n"
              "Content-Type: text/x\nContent-Length: " +
                  std::to_string(body.size()) + "\n");
    EXPECT_EQ(at(records[1].get(), {"number"}), "2");
}

TEST_F(Cloud, FailsAsTold) {
    const std::string token = sign_in();
    const struct {
        const char* name;
        const char* value;
        int curl;
        long status;
        const char* body;  // null: the real one
    } cases[] = {
        {"cloud:/v1.2/organization", "status:503", CURLE_OK, 503, ""},
        {"cloud:/v1.2/organization", R"(status:401,body:{"a":"b,c"})", CURLE_OK, 401, R"({"a":"b,c"})"},
        {"cloud:/v1.2/organization", R"(body:{"res)", CURLE_OK, 200, R"({"res)"},
        {"cloud:/v1.2/organization", "delay:0.01", CURLE_OK, 200, nullptr},
        {"cloud:/v1.2/organization", "close", CURLE_PARTIAL_FILE, 200, nullptr},
        {"cloud:/v1.2/organization", "reset", CURLE_RECV_ERROR, 0, ""},
        {"cloud:/v1.2/organization", "refuse", CURLE_COULDNT_CONNECT, 0, ""},
        {"cloud:/v1.2/organization", "certificate:expired", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
        {"cloud:org-center.harbex.example", "certificate:other-name", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
        {"cloud:*-center.*", "status:500", CURLE_OK, 500, ""},
        {"cloud:account-center.harbex.example", "refuse", CURLE_OK, 200, nullptr},
        {"cloud:#1", "status:500", CURLE_OK, 500, ""},
        {"cloud:#2", "status:500", CURLE_OK, 200, nullptr},
    };
    for (const auto& c : cases) {
        const std::string label = std::string(c.name) + " " + c.value;
        shell("cloudctl requests --clear");
        ASSERT_EQ(shell("fault '" + std::string(c.name) + "' '" + c.value + "'").status, 0) << label;
        const Exchange exchange =
            send_request({"GET", kOrganizations, {kAccept, "Authorization: Bearer " + token}, ""});
        EXPECT_EQ(exchange.curl, c.curl) << label;
        EXPECT_EQ(exchange.status, c.status) << label;
        if (c.body != nullptr) {
            EXPECT_EQ(exchange.body, c.body) << label;
        }
        ASSERT_EQ(shell("fault '" + std::string(c.name) + "' none").status, 0) << label;
    }
    EXPECT_EQ(send_request({"GET", kOrganizations, {kAccept, "Authorization: Bearer " + token}, ""}).status, 200);
}

}  // namespace
}  // namespace harbex::test
