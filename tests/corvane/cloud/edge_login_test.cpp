#include "corvane/cloud/edge_login.h"

#include <fcntl.h>
#include <sched.h>

#include <algorithm>
#include <optional>

#include "support/nas.h"

namespace harbex::test {
namespace {

class EdgeLogin : public SignedInNas {
protected:
    static Outcome log_in() {
        return on_text([](std::string& response) { return corvane::corvane_api_edge(vellum_token(), response); }, "");
    }
};

TEST_F(EdgeLogin, DescribesThisNasByteForByte) {
    std::string odd = edge_body("auto");
    const auto change = [&odd](const std::string& from, const std::string& to) {
        odd.replace(odd.find(from), from.size(), to);
    };
    change("harbex-nas", "har\"bex");
    change("Ada Field", "");
    change("Asia/Taipei", "");
    change("\"regionId\": 0", "\"regionId\": 1");
    change("auto", "");
    EXPECT_EQ("0 {\"dev", log_in().text().substr(0, 7));
    EXPECT_EQ(edge_body("auto"), at(recorded_requests().at(0).get(), {"body"}));

    replace_in(kBidConf, "REGION = GLB", "REGION = glb");
    replace_in(kBidConf, "DISPLAY_NAME = Ada Field\n", "");
    replace_in(kCorvaneConf, "CORVANE_REGION_ID = auto\n", "");
    write_text("/etc/hostname", "har\"bex\nsecond\n");
    std::filesystem::rename("/etc/config/TZ", "/etc/config/TZ.away");
    EXPECT_EQ("70 {\"code\":40000", log_in().text().substr(0, 16)) << "what is no JSON is sent as it is";
    EXPECT_EQ(odd, at(recorded_requests().at(0).get(), {"body"}));
    std::filesystem::rename("/etc/config/TZ.away", "/etc/config/TZ");
    write_text("/etc/hostname", "harbex-nas\n");
}

// The facts in the order in which they are gathered. Each may be missing, alone and with all behind it: the first
// tells.
TEST_F(EdgeLogin, StopsAtTheFirstFactThatIsMissing) {
    const char* const facts[][2] = {
        {"me", "Failed to get contact email"},
        {"DISPLAY_NAME", "Failed to get contact"},
        {"/etc/hostname", "Failed to get device name"},
        {"/etc/platform.conf", "Failed to get nas model name"},
        {"network", "Failed to get gateway mac"},
        {"/sbin/get_hwsn", "Failed to get hwsn"},
        {"CORVANE_ORG_ID", "Failed to get brindle org id"},
        {"CORVANE_SITE_ID", "Failed to get brindle site id"},
        {"CORVANE_REGION_ID", "Failed to get corvane region id"},
    };
    LogReader log;
    const int network = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    for (size_t first = 0; first < std::size(facts); first++) {
        for (const size_t last : {first + 1, std::size(facts)}) {
            begin();
            std::optional<Fault> account;
            std::string keys = "none";
            std::string away;
            for (size_t i = first; i < last; i++) {
                const std::string fact = facts[i][0];
                if (fact == "me") {
                    set_setting(kBidConf, "EMAILS", "");
                    account.emplace("cloud:/v1.1/me", "status:500");
                } else if (fact == "network") {
                    EXPECT_EQ(0, unshare(CLONE_NEWNET));
                } else {
                    (fact[0] == '/' ? away : keys) += (fact[0] == '/' ? " " : "|") + fact;
                }
            }
            const auto move = [&](const char* from, const char* to) {
                shell("for file in" + away + "; do mv $file" + from + " $file" + to + "; done");
            };
            move("", ".away");
            {
                const Broken settings(kGetcfg, keys);
                EXPECT_EQ("60 ", log_in().text()) << facts[first][1];
            }
            EXPECT_EQ(facts[first][1], last_error(log)) << last;
            move(".away", "");
            EXPECT_EQ(0, setns(network, CLONE_NEWNET));
            EXPECT_EQ(first == 0 && last == 1 ? "GET /v1.1/me" : "", requests()) << facts[first][1];
        }
    }
    close(network);
}

}  // namespace
}  // namespace harbex::test
