// What harbexctl finds out for those who keep a NAS running: doctor, metrics, the archive for support.
#include <regex>

#include "support/nas.h"

namespace harbex::test {
namespace {

using Doctor = SignedInNas;

std::string bad_checks() {
    return shell("harbexctl doctor --json | jq -r '.data.checks[] | select(.good | not) | .name'").out;
}

TEST_F(Doctor, NamesWhatIsNotGoodWithinItsTime) {
    shell("appliance-service start corvane_expressd");
    const Finished good = shell("harbexctl doctor");
    EXPECT_EQ(0, good.status) << good.out;
    EXPECT_NE(std::string::npos, good.out.find(" certificate until 20")) << good.out;

    const Fault expired("cloud:org-center.harbex.example", "certificate:expired");
    const Fault refused("cloud:account-center.harbex.example", "refuse");
    const Fault silent("cloud:auth-connector.harbex.example", "delay:30");
    std::filesystem::permissions(kBidConf, std::filesystem::perms(0644));
    shell(
        "signin --expires-in -5 | harbexctl sign-in; pkill -STOP -x NetworkService; chmod -x "
        "/etc/init.d/corvane_express.sh");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(
        "NetworkService\norganisation centre org-center.harbex.example\n"
        "account centre account-center.harbex.example\nsign-in centre auth-connector.harbex.example\nsign-in\n"
        "/etc/init.d/corvane_express.sh\n/etc/config/harbex/bid.conf\n",
        bad_checks());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(25)) << "15 s and a loaded machine";
    shell("pkill -CONT -x NetworkService; chmod +x /etc/init.d/corvane_express.sh");
    std::filesystem::permissions(kBidConf, std::filesystem::perms(0600));
}

TEST_F(Doctor, MetricsReplaceTheirFileWhole) {
    shell("appliance-service start corvane_expressd; echo old >/tmp/harbex.prom; exec 3</tmp/harbex.prom");
    EXPECT_EQ(0, shell("harbexctl metrics --output /tmp/harbex.prom").status);
    const std::string text = read_text("/tmp/harbex.prom");
    EXPECT_TRUE(
        std::regex_match(text, std::regex("(# (TYPE|HELP) harbex_\\w+ .+\n|harbex_\\w+(\\{\\w+=\"[\\w-]+\"\\})? "
                                          "[0-9.e+]+\n)+# EOF\n")))
        << text;
    EXPECT_NE(std::string::npos, text.find("harbex_state{state=\"organisation-chosen\"} 1\n")) << text;
    EXPECT_NE(std::string::npos, text.find("harbex_traffic_bytes_total{direction=\"sent\"} ")) << text;
    EXPECT_EQ("/tmp/harbex.prom\n", shell("ls /tmp/harbex.prom*").out);
    EXPECT_EQ(74, shell("harbexctl metrics --output /nowhere/harbex.prom").status);
}

}  // namespace
}  // namespace harbex::test
