#include <gtest/gtest.h>

#include <filesystem>
#include <string>

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
        {"all", first.certificate() + second.certificate() + expired.certificate(), 0, 0, 60},
        {"broken", first.certificate().substr(0, 300), 77, 77, 77},
        {"none", "-", 77, 77, 77},
        {"one again", first.certificate(), 0, 60, 60},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(kBundle);
        if (c.bundle != "-") test::write_text(kBundle, c.bundle);
        EXPECT_EQ(ask(first), c.of_first) << c.name;
        EXPECT_EQ(ask(second), c.of_second) << c.name;
        EXPECT_EQ(ask(expired), c.of_expired) << c.name;
    }

    test::write_text(kSettings, "[Debug]\nInsecureCurl = true\n");
    EXPECT_EQ(ask(second), 0) << "unchecked";
    test::write_text(kSettings, settings);
    EXPECT_EQ(ask(second), 60) << "checked again";
}

}  // namespace
}  // namespace harbex::system
