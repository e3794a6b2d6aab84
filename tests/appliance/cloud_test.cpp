// The simulated cloud: what it accepts, refuses, remembers and records.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <fstream>
#include <thread>

#include "cloud_client.h"

namespace harbex::test {
namespace {

class Cloud : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(shell("appliance-service start cloud").status, 0); }
    void SetUp() override { shell("cloudctl requests --clear"); }
};

std::string credential(const std::string& name) {
    std::ifstream here("/run/appliance/here");
    std::string directory;
    std::getline(here, directory);
    std::ifstream lines(directory + "/credentials");
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(name + "=")) return line.substr(name.size() + 1);
    return "";
}

std::string refresh_body(const std::string& token) {
    return "app_id=" + credential("app_id") + "&provider=" + credential("provider") + "&refresh_token=" + token;
}

const std::string kRefreshUrl = "https://auth-connector.harbex.example/oauth2/refresh";
const std::string kLoginUrl = std::string(kCorvane) + "/cvnms/nmsuser/api/v1/edge/login";

// What the sealed text holds, opened the way the application opens it.
std::string open_sealed(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    std::string blob(text.size(), '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(blob.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (length < 0) return "";
    size_t size = static_cast<size_t>(length);
    for (size_t end = text.size(); end > 0 && text[end - 1] == '='; --end)
        --size;
    if (size < 32 || size % 16 != 0) return "";
    const std::string secret = credential("app_secret");
    std::string plain(size, '\0');
    int written = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex(context, EVP_aes_256_cbc(), nullptr, reinterpret_cast<const unsigned char*>(secret.data()),
                       reinterpret_cast<const unsigned char*>(blob.data()));
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_DecryptUpdate(context, reinterpret_cast<unsigned char*>(plain.data()), &written,
                      reinterpret_cast<const unsigned char*>(blob.data()) + 16, static_cast<int>(size - 16));
    EVP_CIPHER_CTX_free(context);
    return plain.substr(0, static_cast<size_t>(written));
}

TEST_F(Cloud, SealsSignInAndRefreshAnswers) {
    const std::string plain = open_sealed(shell("signin --expires-in 100").out);
    ASSERT_FALSE(plain.empty());
    EXPECT_EQ(plain.size() % 16, 0U);
    const size_t end = plain.find('\0');
    EXPECT_EQ(plain.find_first_not_of('\0', end == std::string::npos ? plain.size() : end), std::string::npos);
    const JsonOwner tokens = parse(plain.substr(0, end));
    const std::string access = at(tokens.get(), {"access_token"});
    const long long left = std::stoll(access.substr(access.rfind('.') + 1)) - time(nullptr);
    EXPECT_GT(left, 90);
    EXPECT_LE(left, 100);

    const std::string body = refresh_body(at(tokens.get(), {"refresh_token"}));
    const Exchange refreshed =
        send_request({"POST", kRefreshUrl, {"Content-Type: application/x-www-form-urlencoded"}, body});
    ASSERT_EQ(refreshed.status, 200) << refreshed.body;
    const std::string again = open_sealed(at(parse(refreshed.body).get(), {"result"}));
    const std::string renewed = at(parse(again.c_str()).get(), {"access_token"});
    EXPECT_NE(renewed, access);
    EXPECT_EQ(send_request({"GET", kOrganizations, {kAccept, "Authorization: Bearer " + renewed}, ""}).status, 200);
}

TEST_F(Cloud, RefusesWhatARealOneWould) {
    const std::string token = sign_in();
    const std::string bearer = "Authorization: Bearer " + token;
    const std::string expired = "Authorization: Bearer " + sign_in("--expires-in -1");
    const std::string form = "Content-Type: application/x-www-form-urlencoded";
    const std::string refresh_token = newest_token("refresh_tokens");
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
        {"no token", {"GET", organizations, {kAccept}, ""}, 401},
        {"bare token", {"GET", organizations, {kAccept, "Authorization: " + token}, ""}, 401},
        {"unknown token", {"GET", organizations, {kAccept, bearer + "9"}, ""}, 401},
        {"expired token", {"GET", organizations, {kAccept, expired}, ""}, 401},
        {"known token", {"GET", organizations, {kAccept, bearer}, ""}, 200},
        {"known organisation", {"GET", organizations + "/org-7f3a1c", {kAccept, bearer}, ""}, 200},
        {"unknown organisation", {"GET", organizations + "/org-0", {kAccept, bearer}, ""}, 404},
        {"me", {"GET", "https://account-center-dev.harbex-cn.example/v1.1/me", {kAccept, bearer}, ""}, 200},
        {"create, no type", {"POST", organizations, {kAccept, bearer, "Content-Type:"}, created}, 400},
        {"create, other size",
         {"POST", organizations, {kAccept, bearer, kJsonType}, R"({"name": "N", "size": "1~4"})"},
         400},
        {"create, compact",
         {"POST", organizations, {kAccept, bearer, kJsonType}, R"({"name":"N","size":"5~9"})"},
         400},
        {"create, broken name",
         {"POST", organizations, {kAccept, bearer, kJsonType}, R"({"name": "a"b", "size": "5~9"})"},
         400},
        {"create", {"POST", organizations, {kAccept, bearer, kJsonType}, created}, 200},
        {"refresh as JSON", {"POST", kRefreshUrl, {kJsonType}, refresh_body(refresh_token)}, 400},
        {"refresh, other order",
         {"POST", kRefreshUrl, {form}, "refresh_token=" + refresh_token + "&app_id=" + credential("app_id")},
         400},
        {"refresh, unknown token", {"POST", kRefreshUrl, {form}, refresh_body(refresh_token + "x")}, 401},
        {"refresh, empty token", {"POST", kRefreshUrl, {form}, refresh_body("")}, 401},
        {"refresh", {"POST", kRefreshUrl, {form}, refresh_body(refresh_token)}, 200},
        {"login, bearer", {"POST", kLoginUrl, {kJsonType, bearer}, login_body}, 401},
        {"login, unknown organisation",
         {"POST", kLoginUrl, {kJsonType, "vellumToken: " + token}, R"({"orgId": "org-0"})"},
         403},
        {"login, no blank",
         {"POST", kLoginUrl, {kJsonType, "vellumToken: " + token}, R"({"orgId":"org-7f3a1c"})"},
         400},
        {"login", {"POST", kLoginUrl, {kJsonType, "vellumToken: " + token}, login_body}, 200},
        {"site path of another host",
         {"POST",
          "https://corvane-api-sy.harbex.example:31521/cvnms/nmsuser/api/v1/edge/login",
          {kJsonType, "vellumToken: " + token},
          login_body},
         200},
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
        {"region to be found", edge_body("auto"), 200},
        {"no region yet", edge_body(""), 200},
        {"blank before locationAddress", with(body, R"(,"loc)", R"(, "loc)"), 400},
        {"compact", with(body, ": \"harbex", ":\"harbex"), 400},
        {"other order", with(body, R"("licenseId": "", "country": "")", R"("country": "", "licenseId": "")"), 400},
        {"regionId as text", with(body, R"("regionId": 0)", R"("regionId": "0")"), 422},
        {"member missing", with(body, R"(, "deviceRole": "edge")", ""), 400},
        {"something behind", body + "\n", 400},
        {"quote in a value", with(body, "harbex-nas", "har\"bex"), 400},
        {"unknown region", edge_body("grp-west"), 422},
        {"another organisation's site", with(body, "site-29b0e4", "site-5cc713"), 403},
        {"unknown organisation", with(body, "org-7f3a1c", "org-0"), 403},
        {"no MAC address", with(body, "02:00:5e:00:01:0a", "02005E00010A"), 422},
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

TEST_F(Cloud, LeadsADeviceFromEnrolmentToDeletion) {
    const std::string token = sign_in();
    shell(R"(cloudctl set '{"virtual_ip": "10.8.7.6"}')");
    const JsonOwner reply = parse(enrol(token, edge_body()).body);
    EXPECT_EQ(at(reply.get(), {"virtualIP"}), "10.8.7.6");
    const std::string id = at(reply.get(), {"deviceId"});
    const std::string bare = "Authorization: " + at(reply.get(), {"corvaneToken"});
    const std::string buser = "Authorization: Buser " + at(reply.get(), {"corvaneToken"});
    const std::string topology = std::string(kCorvane) + "/corvane/bthings/api/v1/vpn_topology";
    const std::string configuration = device_url(id, "/cloudagent_cfg");
    const std::string vellum = "vellumToken: " + token;
    const Exchange other_login = send_request({"POST", kLoginUrl, {kJsonType, vellum}, R"({"orgId": "org-b41d92"})"});
    const std::string other = "Authorization: " + at(parse(other_login.body).get(), {"corvaneToken"});
    const struct {
        const char* name;
        Request request;
        long status;
    } cases[] = {
        {"topology, bare", {"GET", topology, {kAccept, bare}, ""}, 401},
        {"topology", {"GET", topology, {kAccept, buser}, ""}, 200},
        {"configuration before registration", {"GET", configuration + "?format=json", {kAccept, bare}, ""}, 409},
        {"register, with a scheme", {"GET", device_url(id), {kAccept, buser}, ""}, 401},
        {"register, other organisation", {"GET", device_url(id), {kAccept, other}, ""}, 403},
        {"register, unknown", {"GET", device_url("dev-0"), {kAccept, bare}, ""}, 404},
        {"register", {"GET", device_url(id), {kAccept, bare}, ""}, 200},
        {"configuration, no format", {"GET", configuration, {kAccept, bare}, ""}, 406},
        {"configuration", {"GET", configuration + "?format=json", {kAccept, bare}, ""}, 200},
        {"delete, no account token", {"DELETE", device_url(id), {kJsonType, bare}, ""}, 401},
        {"delete, no type", {"DELETE", device_url(id), {bare, vellum}, ""}, 400},
        {"delete", {"DELETE", device_url(id), {kJsonType, bare, vellum}, ""}, 200},
        {"delete again", {"DELETE", device_url(id), {kJsonType, bare, vellum}, ""}, 404},
    };
    for (const auto& c : cases) {
        const Exchange exchange = send_request(c.request);
        EXPECT_EQ(exchange.status, c.status) << c.name << ": " << exchange.body;
    }
}

TEST_F(Cloud, JudgesVirtualAddresses) {
    const Enrolled edge = enrol_device();
    const auto ask = [&](const std::string& ip, const std::string& excluded) {
        return send_request({"POST",
                             std::string(kCorvane) + "/corvane/bthings/api/v1/ip_subnet_check",
                             {kAccept, "Authorization: Buser " + edge.corvane_token, kJsonType},
                             R"({"data":[{"ip":")" + ip +
                                 R"(","submask":"32","type":"virtualIP","excludedSubnets":[)" + excluded + "]}]}"});
    };
    const struct {
        const char* name;
        const char* ip;
        const char* excluded;
        long status;
        const char* suggestion;
    } cases[] = {
        {"free", "10.8.0.21", R"("192.168.1.0/24")", 200, ""},
        {"nothing excluded", "192.168.1.77", "", 200, ""},
        {"clash", "192.168.1.77", R"("172.16.0.0/12","192.168.1.0/24")", 409, "10.8.0.5/24"},
        {"clash with the suggestion, too", "10.8.3.3", R"("10.8.0.0/16","10.9.0.0/24")", 409, "10.10.0.5/24"},
        {"set to clash", "10.77.0.1", "", 409, "10.8.0.5/24"},
        {"no address", "ten", "", 422, ""},
        {"no network", "10.8.0.1", R"("10.0.0.0/33")", 422, ""},
        {"no text", "10.8.0.1", "7", 422, ""},
        {"blanks", "10.8.0.1", " ", 400, ""},
    };
    shell(R"(cloudctl set '{"conflict_networks": ["10.77.0.0/24"]}')");
    for (const auto& c : cases) {
        const Exchange exchange = ask(c.ip, c.excluded);
        EXPECT_EQ(exchange.status, c.status) << c.name << ": " << exchange.body;
        const JsonOwner reply = parse(exchange.body);
        const json_t* element = json_array_get(json_object_get(reply.get(), "data"), 0);
        EXPECT_EQ(at(element, {"data", "sugIPNet"}), c.suggestion) << c.name;
    }
    shell(R"(cloudctl set '{"conflict_networks": []}')");
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
    const std::string path = "/v1.2/organization";
    const struct {
        const char* name;
        const char* value;
        int curl;
        long status;
        const char* body;  // null: the real one
    } cases[] = {
        {"cloud:/v1.2/organization", "status:503", CURLE_OK, 503, ""},
        {"cloud:/v1.2/organization", "status:301", CURLE_OK, 301, ""},
        {"cloud:/v1.2/organization", R"(status:401,body:{"a":"b,c"})", CURLE_OK, 401, R"({"a":"b,c"})"},
        {"cloud:/v1.2/organization", R"(body:{"res)", CURLE_OK, 200, R"({"res)"},
        {"cloud:/v1.2/organization", "body:", CURLE_OK, 200, ""},
        {"cloud:/v1.2/organization", "delay:0.01", CURLE_OK, 200, nullptr},
        {"cloud:/v1.2/organization", "delay:0.01,status:500", CURLE_OK, 500, ""},
        {"cloud:/v1.2/organization", "close", CURLE_PARTIAL_FILE, 200, nullptr},
        {"cloud:/v1.2/organization", "reset", CURLE_RECV_ERROR, 0, ""},
        {"cloud:/v1.2/organization", "refuse", CURLE_COULDNT_CONNECT, 0, ""},
        {"cloud:/v1.2/organization", "certificate:expired", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
        {"cloud:org-center.harbex.example", "certificate:other-name", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
        {"cloud:org-center.harbex.example", "refuse", CURLE_COULDNT_CONNECT, 0, ""},
        {"cloud:*-center.*", "status:500", CURLE_OK, 500, ""},
        {"cloud:org-center.harbex.example/v1.2/*", "status:502", CURLE_OK, 502, ""},
        {"cloud:account-center.harbex.example", "refuse", CURLE_OK, 200, nullptr},
        {"cloud:/v1.2", "status:500", CURLE_OK, 200, nullptr},
        {"cloud:#1", "status:500", CURLE_OK, 500, ""},
        {"cloud:#1", "reset", CURLE_SSL_CONNECT_ERROR, 0, ""},
        {"cloud:#1", "certificate:expired", CURLE_PEER_FAILED_VERIFICATION, 0, ""},
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

TEST_F(Cloud, MisnamedFaultsAreRefused) {
    for (const char* words :
         {"cloud:", "'cloud:/a b' close", "cloud:/a maybe", "cloud:/a status:99", "cloud:/a delay:x",
          "cloud:#0 close", "'cloud:#2' refuse", "cloud:/a delay:1,refuse", "cloud:/a%b close"})
        EXPECT_EQ(shell("fault " + std::string(words)).status, 64) << words;
    EXPECT_EQ(shell("fault").out, "");
}

TEST_F(Cloud, KeepsItsStateAndRefusesBadChanges) {
    const std::string token = sign_in();
    for (const char* change : {R"({"virtual_ips": "10.0.0.1"})", R"({"virtual_ip": 7})", R"({"organizations": [{}]})",
                               R"({"vpn_groups": [{"groupId": "g"}]})", R"({"virtual_ip": null})"})
        EXPECT_EQ(shell("cloudctl set '" + std::string(change) + "'").status, 1) << change;
    for (const char* words : {"set '[1]'", "set", "fly", "", "sign-in --expires-in soon", "requests --all"})
        EXPECT_EQ(shell("cloudctl " + std::string(words)).status, 64) << words;

    ASSERT_EQ(shell(R"(cloudctl set '{"user": {"site": "CHN"}}')").status, 0);
    ASSERT_EQ(shell("appliance-service stop cloud").status, 0);
    EXPECT_EQ(shell("cloudctl state").status, 2);
    EXPECT_EQ(shell("getent hosts org-center.harbex.example").status, 2);
    ASSERT_EQ(shell("appliance-service start cloud").status, 0);
    const Exchange me = send_request(
        {"GET", "https://account-center.harbex.example/v1.1/me", {kAccept, "Authorization: Bearer " + token}, ""});
    const JsonOwner reply = parse(me.body);
    EXPECT_EQ(at(reply.get(), {"result", "site"}), "CHN");
    EXPECT_EQ(at(reply.get(), {"result", "display_name"}), "Ada Field");
    shell(R"(cloudctl set '{"user": {"site": "GLOBAL"}}')");
    ASSERT_EQ(shell("cloudctl sign-out").status, 0);
    EXPECT_EQ(send_request({"GET", kOrganizations, {kAccept, "Authorization: Bearer " + token}, ""}).status, 401);
}

TEST_F(Cloud, ServesManyAtOnce) {
    const std::string bearer = "Authorization: Bearer " + sign_in();
    std::vector<int> answered(12);
    std::vector<std::thread> threads;
    threads.reserve(answered.size());
    for (int& count : answered) {
        threads.emplace_back([&count, &bearer] {
            for (int turn = 0; turn < 4; ++turn)
                count += send_request({"GET", kOrganizations, {kAccept, bearer}, ""}).status == 200 ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const int count : answered)
        EXPECT_EQ(count, 4);
    const auto records = recorded_requests();
    EXPECT_EQ(records.size(), 48U);
    for (const JsonOwner& record : records)
        EXPECT_TRUE(json_is_object(record.get()));
}

}  // namespace
}  // namespace harbex::test
