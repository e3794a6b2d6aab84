#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <curl/curl.h>

#include "common/error_code.h"
#include "common/http.h"
#include "support/files.h"
#include "support/tls_peer.h"

namespace harbex::system {
namespace {

constexpr const char* kBundle = "/etc/ssl/certs/ca-certificates.crt";
constexpr const char* kSettings = "/etc/config/harbex/corvane.conf";

int ask(const test::TlsPeer& peer) {
    RestTransfer transfer;
    EXPECT_EQ(transfer.honour_insecure_switch(), NO_ERROR);
    std::string response;
    return transfer.send({HttpMethod::kGet, peer.url(), {}, ""}, response);
}

int ask_directly(const test::TlsPeer& peer) {
    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, peer.url().c_str());
    std::string response;
    return easycurl(handle, response);
}

// The bundle and the settings are put back by the appliance's end.
TEST(TrustedRoots, FollowTheBundle) {
    const test::TlsPeer first("first");
    const test::TlsPeer second("second");
    const test::TlsPeer expired("expired", -1);
    const std::string settings = test::read_text(kSettings);
    const struct {
        const char* name;
        std::string bundle;  // "-" for none
        int of_first, of_second, of_expired;
    } cases[] = {
        {"one", first.certificate(), 0, 60, 60},
        {"another", second.certificate(), 60, 0, 60},
        {"all", first.certificate() + second.certificate() + expired.certificate(), 0, 0, 60},
        {"broken", first.certificate().substr(0, 300), 77, 77, 77},
        {"empty", "", 77, 77, 77},
        {"none", "-", 77, 77, 77},
        {"one again", first.certificate(), 0, 60, 60},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(kBundle);
        if (c.bundle != "-") test::write_text(kBundle, c.bundle);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(ask(first), c.of_first) << c.name;
            EXPECT_EQ(ask(second), c.of_second) << c.name;
            EXPECT_EQ(ask(expired), c.of_expired) << c.name;
            EXPECT_EQ(ask_directly(first), c.of_first) << c.name;
        }
    }

    test::write_text(kSettings, "[Debug]\nInsecureCurl = true\n");
    EXPECT_EQ(ask(second), 0) << "unchecked";
    test::write_text(kSettings, settings);
    EXPECT_EQ(ask(second), 60) << "checked again";
}

TEST(TrustedRoots, AreSharedByThreads) {
    const test::TlsPeer peer("peer");
    test::write_text(kBundle, peer.certificate());
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (int request = 0; request < 10; ++request) {
                EXPECT_EQ(ask(peer), 0);
                if (request % 4 != 0) continue;
                const std::string changed = kBundle + std::to_string(number);
                test::write_text(changed, peer.certificate());
                std::filesystem::rename(changed, kBundle);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace harbex::system
