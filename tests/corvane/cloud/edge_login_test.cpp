#include "corvane/cloud/edge_login.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

using EdgeLogin = SignedInNas;

std::string log_in() {
    std::string response;
    const int code = corvane::corvane_api_edge(stored(kBidConf, "VELLUM_TOKEN"), response);
    return std::to_string(code) + " " + response;
}

TEST_F(EdgeLogin, DescribesThisNasByteForByte) {
    std::string odd = edge_body("auto");
    const auto change = [&odd](const std::string& from, const std::string& to) {
        odd.replace(odd.find(from), from.size(), to);
    };
    change("harbex-nas", "har\"bex");
    change("Ada Field", "");
    change("\"regionId\": 0", "\"regionId\": 1");
    EXPECT_EQ("0 {\"dev", log_in().substr(0, 7));
    EXPECT_EQ(edge_body("auto"), at(recorded_requests().at(0).get(), {"body"}));

    set_setting(kBidConf, "REGION", "glb");
    set_setting(kBidConf, "DISPLAY_NAME", "");
    write_text("/etc/hostname", "har\"bex\nsecond\n");
    EXPECT_EQ("70 {\"code\":40000", log_in().substr(0, 16)) << "what is no JSON is sent as it is";
    EXPECT_EQ(odd, at(recorded_requests().at(0).get(), {"body"}));
    write_text("/etc/hostname", "harbex-nas\n");
}

// The facts in the order in which they are gathered. Each is missing with all behind it: the first tells.
TEST_F(EdgeLogin, StopsAtTheFirstFactThatIsMissing) {
    const char* const facts[][2] = {
        {"EMAILS", "Failed to get contact email"},
        {"DISPLAY_NAME", "Failed to get contact"},
        {"/etc/hostname", "Failed to get device name"},
        {"/etc/platform.conf", "Failed to get nas model name"},
        {"/sbin/get_hwsn", "Failed to get hwsn"},
        {"CORVANE_ORG_ID", "Failed to get brindle org id"},
        {"CORVANE_SITE_ID", "Failed to get brindle site id"},
        {"CORVANE_REGION_ID", "Failed to get corvane region id"},
    };
    LogReader log;
    std::string keys = "none";
    std::string away;
    for (size_t first = std::size(facts); first-- > 0;) {
        const std::string fact = facts[first][0];
        (fact[0] == '/' ? away : keys) += (fact[0] == '/' ? " " : "|") + fact;
        shell("for file in" + away + "; do mv $file $file.away; done");
        {
            const Broken settings(kGetcfg, keys);
            EXPECT_EQ("60 ", log_in()) << facts[first][1];
        }
        shell("for file in" + away + "; do mv $file.away $file; done");
        EXPECT_EQ(facts[first][1], last_error(log));
    }
    EXPECT_EQ("GET /v1.1/me", requests()) << "for the e-mail that could not be read";
}

}  // namespace
}  // namespace harbex::test
