#include <thread>

#include <curl/curl.h>

#include "common/error_code.h"
#include "common/http.h"
#include "support/nas.h"

namespace harbex::system {
namespace {

using test::write_text;

constexpr const char* kBundle = "/etc/ssl/certs/ca-certificates.crt";
constexpr const char* kUrl = "https://corvane-api.harbex.example/";
constexpr int kTrusted = ERR_HTTP_ERROR;  // the cloud has nothing at this place

int ask() {
    RestTransfer transfer;
    EXPECT_EQ(transfer.honour_insecure_switch(), NO_ERROR);
    std::string response;
    return transfer.send({HttpMethod::kGet, kUrl, {}, ""}, response);
}

int ask_directly() {
    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, kUrl);
    std::string response;
    return easycurl(handle, response);
}

// The bundle and the settings are put back by the appliance's end.
TEST(TrustedRoots, FollowTheBundle) {
    const std::string own = test::read_text(kBundle), settings = test::read_text(kCorvaneConf);
    const std::string other = test::self_signed_certificate();
    const std::string malformed = test::self_signed_certificate("basicConstraints=DER:04:04");
    const std::pair<std::string, int> cases[] = {
        {own, kTrusted},
        {other, 60},
        {other + own, kTrusted},
        {own.substr(0, 300), 77},
        {"", 77},
        {"-", 77},  // none
        {malformed + own, kTrusted},
        {malformed, 60},
        {own, kTrusted},
    };
    for (const auto& [bundle, result] : cases) {
        std::filesystem::remove(kBundle);
        if (bundle != "-") write_text(kBundle, bundle);
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(ask(), result) << bundle;
        EXPECT_EQ(ask_directly(), result) << bundle;
    }
    const test::Fault expired("cloud:*", "certificate:expired");
    EXPECT_EQ(ask(), 60);
    write_text(kCorvaneConf, "[Debug]\nInsecureCurl = true\n");
    EXPECT_EQ(ask(), kTrusted) << "unchecked";
    write_text(kCorvaneConf, settings);
    EXPECT_EQ(ask(), 60) << "checked again";
}

TEST(TrustedRoots, AreSharedByThreads) {
    const std::string bundle = test::read_text(kBundle);
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, changed = kBundle + std::to_string(number)] {
            for (int request = 0; request < 10; ++request) {
                EXPECT_EQ(ask(), kTrusted);
                write_text(changed, bundle);
                if (request % 4 == 0) std::filesystem::rename(changed, kBundle);
            }
        });
    }
}

}  // namespace
}  // namespace harbex::system
