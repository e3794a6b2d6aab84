#include "common/http.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>

#include <httplib.h>

#include <curl/curl.h>

#include "common/error_code.h"
#include "support/files.h"
#include "support/raw_http_peer.h"
#include "support/trace_reader.h"

namespace harbex::system {
namespace {

using test::RawHttpPeer;
using Lines = std::vector<std::string>;

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr char kSettings[] = "/etc/config/harbex/corvane.conf";

int send(const RestRequest& request, std::string& response) {
    RestTransfer transfer;
    return transfer.send(request, response);
}

int get(const std::string& url, std::string& response) {
    return send({HttpMethod::kGet, url, {}, ""}, response);
}

struct Parts {
    std::string start;
    Lines headers;
    std::string body;
};

Parts parts_of(const std::string& request) {
    Parts parts;
    const size_t end = request.find("\r\n\r\n");
    parts.body = request.substr(end + 4);
    std::istringstream head(request.substr(0, end));
    for (std::string line; std::getline(head, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        parts.start.empty() ? parts.start = line : parts.headers.emplace_back(line);
    }
    return parts;
}

TEST(Request, GoesOutAsGiven) {
    const std::string large(300'000, 'x');
    const struct {
        const char* name;
        HttpMethod method;
        Lines headers;
        std::string body;
        const char* start;
        Lines added;  // by libcurl, Host aside
    } cases[] = {
        {"plain GET", HttpMethod::kGet, {}, "", "GET /p?format=json HTTP/1.1", {"Accept: */*"}},
        {"POST, order kept",
         HttpMethod::kPost,
         {"vellumToken: a.b", "Content-Type: application/json"},
         R"({"orgId": ""x"})",
         "POST /p?format=json HTTP/1.1",
         {"Accept: */*", "Content-Length: 15"}},
        {"large POST without a question first",
         HttpMethod::kPost,
         {"Content-Type: text/plain"},
         large,
         "POST /p?format=json HTTP/1.1",
         {"Accept: */*", "Content-Length: 300000"}},
        {"DELETE", HttpMethod::kDelete, {"vellumToken: t"}, "", "DELETE /p?format=json HTTP/1.1", {"Accept: */*"}},
    };
    for (const auto& c : cases) {
        RawHttpPeer peer(kOk);
        std::string response = "before ";
        EXPECT_EQ(send({c.method, peer.url("/p?format=json"), c.headers, c.body}, response), NO_ERROR) << c.name;
        EXPECT_EQ(response, "before ok") << c.name;
        const Lines requests = peer.requests();
        ASSERT_EQ(requests.size(), 1U) << c.name;
        const Parts sent = parts_of(requests[0]);
        EXPECT_EQ(sent.start, c.start) << c.name;
        EXPECT_TRUE(sent.body == c.body) << c.name;

        const Lines& given = c.headers;
        Lines ours;
        Lines added;
        for (const std::string& line : sent.headers)
            (std::count(given.begin(), given.end(), line) != 0 ? ours : added).push_back(line);
        EXPECT_EQ(ours, given) << c.name;
        Lines expected = c.added;
        expected.push_back("Host: " + peer.host());
        std::sort(expected.begin(), expected.end());
        std::sort(added.begin(), added.end());
        EXPECT_EQ(added, expected) << c.name;
    }
}

TEST(Request, WithALineBreakInItIsNotSent) {
    RawHttpPeer peer(kOk);
    const std::string url = peer.url("/");
    const struct {
        const char* name;
        RestRequest request;
        int result;
    } cases[] = {
        {"header", {HttpMethod::kGet, url, {"Authorization: t\r\nX: y"}, ""}, CURLE_BAD_FUNCTION_ARGUMENT},
        {"address", {HttpMethod::kGet, url + "a\nb", {}, ""}, CURLE_URL_MALFORMAT},
    };
    for (const auto& c : cases) {
        test::TraceReader log;
        std::string response = "kept";
        EXPECT_EQ(send(c.request, response), c.result) << c.name;
        EXPECT_EQ(response, "kept") << c.name;
        EXPECT_FALSE(log.lines().empty()) << c.name;
    }
    EXPECT_TRUE(peer.requests().empty());
}

TEST(Answer, BecomesResultBodyAndLogLine) {
    const std::string status = "ERROR [easycurl] HTTP request failed with status code: ";
    const std::string failure = "ERROR [easycurl] curl_easy_perform failed with error code: ";
    const struct {
        const char* name;
        std::string answer;
        int result;
        std::string body;
        std::string line;
    } cases[] = {
        {"body", kOk, NO_ERROR, "ok", ""},
        {"redirect", "HTTP/1.1 301 Moved\r\nLocation: /other\r\nContent-Length: 0\r\n\r\n", ERR_HTTP_ERROR, "",
         status + "301, response: "},
        {"error with a body", "HTTP/1.1 404 No\r\nContent-Length: 8\r\n\r\n{\"e\": 1}", ERR_HTTP_ERROR, "{\"e\": 1}",
         status + "404, response: {\"e\": 1}"},
        {"no answer", "", CURLE_GOT_NOTHING, "", failure + "52, Server returned nothing (no headers, no data), "},
        {"closed half-way", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", CURLE_PARTIAL_FILE, "half",
         failure + "18, Transferred a partial file, half"},
    };
    for (const auto& c : cases) {
        RawHttpPeer peer(c.answer);
        test::TraceReader log;
        std::string response;
        EXPECT_EQ(get(peer.url("/p"), response), c.result) << c.name;
        EXPECT_EQ(response, c.body) << c.name;
        EXPECT_EQ(log.lines(), c.line.empty() ? Lines{} : Lines{c.line}) << c.name;
        EXPECT_EQ(peer.requests().size(), 1U) << c.name << ": tried once";
    }
}

TEST(Transfer, ToAStallingPeerEndsAfterTenSeconds) {
    const RawHttpPeer peer("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", RawHttpPeer::Then::kStall);
    const auto start = std::chrono::steady_clock::now();
    std::string response;
    EXPECT_EQ(get(peer.url("/"), response), kTransferTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(9900));
    EXPECT_EQ(response, "half");
}

class Switches : public testing::Test {
protected:
    void SetUp() override { before_ = test::read_text(kSettings); }
    void TearDown() override { test::write_text(kSettings, before_); }
    static void set(const std::string& key, const std::string& value) {
        test::write_text(kSettings, "[Debug]\n" + key + " = " + value + "\n");
    }

private:
    std::string before_;
};

// An HTTPS server whose certificate nobody trusts.
class UntrustedServer {
public:
    UntrustedServer() {
        const std::string make =
            "cd /tmp && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
            "-subj /CN=elsewhere -keyout server.key -out server.crt 2>/dev/null";
        if (std::system(make.c_str()) != 0) ADD_FAILURE() << "no certificate";  // NOLINT(cert-env33-c)
        server_ = std::make_unique<httplib::SSLServer>("/tmp/server.crt", "/tmp/server.key");
        server_->Get("/", [](const httplib::Request&, httplib::Response& answer) {
            answer.set_content("secret", "text/plain");
        });
        port_ = server_->bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_->listen_after_bind(); });
        while (!server_->is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~UntrustedServer() {
        server_->stop();
        thread_.join();
    }
    UntrustedServer(const UntrustedServer&) = delete;
    void operator=(const UntrustedServer&) = delete;
    std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }

private:
    std::unique_ptr<httplib::SSLServer> server_;
    int port_ = 0;
    std::thread thread_;
};

TEST_F(Switches, CertificateChecksAreOffOnlyOnRequestAndForExactlyTrue) {
    const UntrustedServer server;
    const struct {
        const char* value;
        bool honour;
        int result;
    } cases[] = {
        {"true", true, NO_ERROR},
        {"true", false, CURLE_PEER_FAILED_VERIFICATION},
    };
    for (const auto& c : cases) {
        set("InsecureCurl", c.value);
        RestTransfer transfer;
        if (c.honour) {
            EXPECT_EQ(transfer.honour_insecure_switch(), 0);
        }
        std::string response;
        EXPECT_EQ(transfer.send({HttpMethod::kGet, server.url(), {}, ""}, response), c.result) << c.value << c.honour;
        EXPECT_EQ(response, c.result == NO_ERROR ? "secret" : "") << c.value << c.honour;
    }
}

}  // namespace
}  // namespace harbex::system
