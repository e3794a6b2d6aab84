#include "common/http.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include <curl/curl.h>

#include "common/error_code.h"
#include "support/raw_http_peer.h"
#include "support/trace_reader.h"

namespace harbex::system {
namespace {

using test::RawHttpPeer;
using Lines = std::vector<std::string>;

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

int send(const RestRequest& request, std::string& response) {
    RestTransfer transfer;
    return transfer.send(request, response);
}

TEST(Request, GoesOutAsGiven) {
    const struct {
        HttpMethod method;
        std::string start;
        Lines headers;
        std::string body;
        int added;  // lines by libcurl: Host, Accept and, of a body, Content-Length
    } cases[] = {
        {HttpMethod::kGet, "GET", {}, "", 2},
        {HttpMethod::kPost, "POST", {"vellumToken: a.b", "Content-Type: application/json"}, R"({"orgId": ""x"})", 3},
        // Without asking first whether it may.
        {HttpMethod::kPost, "POST", {"Content-Type: text/plain"}, std::string(300'000, 'x'), 3},
        {HttpMethod::kDelete, "DELETE", {"vellumToken: t"}, "", 2},
    };
    for (const auto& c : cases) {
        RawHttpPeer peer(kOk);
        std::string response = "before ";
        EXPECT_EQ(send({c.method, peer.url("/p?format=json"), c.headers, c.body}, response), NO_ERROR) << c.start;
        EXPECT_EQ(response, "before ok") << c.start;
        ASSERT_EQ(peer.requests().size(), 1U) << c.start;
        const std::string sent = peer.requests()[0];
        const std::string head = sent.substr(0, sent.find("\r\n\r\n") + 4);
        std::string given = "\r\n";
        for (const std::string& line : c.headers)
            given += line + "\r\n";
        EXPECT_TRUE(head.starts_with(c.start + " /p?format=json HTTP/1.1\r\n")) << head;
        EXPECT_NE(head.find(given), std::string::npos) << head;
        EXPECT_EQ(std::count(head.begin(), head.end(), '\n'), std::ssize(c.headers) + c.added + 2) << head;
        EXPECT_TRUE(sent.substr(head.size()) == c.body) << c.start;
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
        {"redirect", "HTTP/1.1 301 Moved\r\nLocation: /other\r\nContent-Length: 8\r\n\r\n{\"e\": 1}", ERR_HTTP_ERROR,
         "{\"e\": 1}", status + "301, response: {\"e\": 1}"},
        {"no answer", "", CURLE_GOT_NOTHING, "", failure + "52, Server returned nothing (no headers, no data), "},
        {"closed half-way", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", CURLE_PARTIAL_FILE, "half",
         failure + "18, Transferred a partial file, half"},
    };
    for (const auto& c : cases) {
        RawHttpPeer peer(c.answer);
        test::TraceReader log;
        std::string response;
        EXPECT_EQ(send({HttpMethod::kGet, peer.url("/p"), {}, ""}, response), c.result) << c.name;
        EXPECT_EQ(response, c.body) << c.name;
        EXPECT_EQ(log.lines(), c.line.empty() ? Lines{} : Lines{c.line}) << c.name;
        EXPECT_EQ(peer.requests().size(), 1U) << c.name << ": tried once";
    }
}

TEST(Answer, WithoutEndIsCutOff) {
    constexpr size_t kLimit = size_t{16} << 20;
    RawHttpPeer peer("HTTP/1.1 200 OK\r\n\r\n" + std::string(2 * kLimit, 'x'));
    std::string response;
    EXPECT_EQ(send({HttpMethod::kGet, peer.url("/p"), {}, ""}, response), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_GT(response.size(), kLimit);
    EXPECT_LT(response.size(), 2 * kLimit);

    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, peer.url("/p").c_str());
    response.clear();
    EXPECT_EQ(easycurl(handle, response), NO_ERROR) << "only a request of the library's own has a limit";
    EXPECT_EQ(response.size(), 2 * kLimit);
}

TEST(Transfer, ToAStallingPeerEndsAfterTenSeconds) {
    const RawHttpPeer peer("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", RawHttpPeer::Then::kStall);
    const auto start = std::chrono::steady_clock::now();
    std::string response;
    EXPECT_EQ(send({HttpMethod::kGet, peer.url("/"), {}, ""}, response), kTransferTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(9900));
    EXPECT_EQ(response, "half");
}

}  // namespace
}  // namespace harbex::system
