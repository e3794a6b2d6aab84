#include "common/http.h"

#include <chrono>

#include <curl/curl.h>

#include "common/config_store.h"
#include "common/error_code.h"
#include "common/in_folder.h"
#include "common/settings_files.h"
#include "support/raw_http_peer.h"
#include "support/rows.h"

namespace harbex::system {
namespace {

using test::Lines;
using test::RawHttpPeer;

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

int send(const RestRequest& request, std::string& response) {
    RestTransfer transfer;
    return transfer.send(request, response);
}

TEST(Request, GoesOutAsGiven) {
    const std::string json = "Content-Type: application/json", large(300'000, 'x');
    const RawHttpPeer peer(kOk);
    std::string response = "before ";
    EXPECT_EQ(send({HttpMethod::kPost, peer.url("/p?format=json"), {"vellumToken: a.b", json}, large}, response),
              NO_ERROR);
    EXPECT_EQ(response, "before ok");
    const std::string head = "POST /p?format=json HTTP/1.1\r\nHost: " + peer.host() + "\r\nAccept: */*\r\n";
    const std::string rest = "vellumToken: a.b\r\n" + json + "\r\nContent-Length: 300000\r\n\r\n" + large;
    EXPECT_TRUE(peer.requests() == Lines{head + rest}) << peer.requests().at(0).substr(0, 300);
}

TEST(Request, WithALineBreakInItIsNotSent) {
    const RawHttpPeer peer(kOk);
    std::string response;
    EXPECT_EQ(send({HttpMethod::kGet, peer.url("/"), {"Authorization: t\r\nX: y"}, ""}, response),
              CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_TRUE(peer.requests().empty());
}

TEST(Answer, BecomesResultBodyAndLogLine) {
    const std::string status = "ERROR [easycurl] HTTP request failed with status code: ";
    const std::string failure = "ERROR [easycurl] curl_easy_perform failed with error code: ";
    const test::Row cases[] = {
        {"301 Moved\r\nLocation: /other\r\nContent-Length: 4\r\n\r\nbody", ERR_HTTP_ERROR, "body",
         status + "301, response: body"},
        {"200 OK\r\nContent-Length: 9\r\n\r\nhalf", CURLE_PARTIAL_FILE, "half",
         failure + "18, Transferred a partial file, half"},
    };
    for (const test::Row& row : cases) {
        const RawHttpPeer peer("HTTP/1.1 " + row.given);
        test::LogReader log;
        std::string response;
        EXPECT_EQ(send({HttpMethod::kGet, peer.url("/p"), {}, ""}, response), row.code) << row.given;
        EXPECT_EQ(response, row.words) << row.given;
        EXPECT_EQ(log.lines(), Lines{row.errors}) << row.given;
        EXPECT_EQ(peer.requests().size(), 1U) << row.given << ": tried once";
    }
}

TEST(Answer, WithoutEndIsCutOff) {
    constexpr size_t kLimit = size_t{16} << 20;
    RawHttpPeer peer("HTTP/1.1 200 OK\r\n\r\n" + std::string(2 * kLimit, 'x'));
    std::string response;
    EXPECT_EQ(send({HttpMethod::kGet, peer.url("/p"), {}, ""}, response), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_GT(response.size(), kLimit);
    EXPECT_LT(response.size(), 2 * kLimit);
}

TEST(Transfer, ToAStallingPeerEndsAfterTenSeconds) {
    const RawHttpPeer peer("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", RawHttpPeer::Then::kStall);
    const auto start = std::chrono::steady_clock::now();
    std::string response;
    EXPECT_EQ(send({HttpMethod::kGet, peer.url("/"), {}, ""}, response), kTransferTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(9900));
}

TEST(Nslookup, AppendsWhatThereIs) {
    test::write_text("/etc/host.conf", "multi on\n");
    test::write_text("/etc/hosts", "127.0.0.1 localhost\n10.0.0.7 two.example\n10.0.0.3 two.example\n");
    Lines addresses = {"kept"};
    nslookup("two.example", addresses);
    EXPECT_EQ(addresses, (Lines{"kept", "10.0.0.7", "10.0.0.3"}));
}

TEST(DebugSwitch, IsOnForOneSpellingOnly) {
    for (const char* value : {"True", "true"}) {
        ASSERT_EQ(setcfg_wrapper(kCorvaneConf, "Debug", "Enable", value), NO_ERROR);
        EXPECT_EQ(is_test_flag_set(), value == std::string("true")) << value;
    }
}

}  // namespace
}  // namespace harbex::system
