// What harbexctl finds out for those who keep a NAS running: doctor, metrics, the archive for support.
#include <regex>
#include <sstream>

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

TEST_F(Doctor, TheArchiveHoldsNoCanary) {
    ASSERT_EQ(0, shell("harbexctl join").status);
    const std::string path = "/opt/harbex/var/log/";
    const std::string canary = "Canary7yellow";
    for (const char* file : {kBidConf, kCorvaneConf}) {
        const std::string text = read_text(file);
        write_text(file, std::regex_replace(text, std::regex("(\\w+) = .+"), "$1 = " + canary) + canary + " = x\n" +
                             "[" + canary + "]\n");
    }
    const std::string trace = read_text(path + "Harbex.log");
    const std::string head = trace.substr(0, trace.find('['));
    for (const char* name : {"Harbex.log", "Harbex.log.1", "harbex_network_service.log"}) {
        const std::string log = read_text(path + name) + head + "[INFO] " + canary + " [1] " + canary +
                                ":token: " + canary + " 12 failed {\"" + canary +
                                "\":1}\n[2026-11-22 03:00:00][DEBUG] plaintext: " + canary + "\n[" + canary +
                                "][DEBUG] x\n" + canary + "\n";
        write_text(path + name, log);
    }
    ASSERT_EQ(
        0,
        shell("rm -rf /tmp/b; mkdir /tmp/b; harbexctl bundle /tmp/b/b.tar && tar xf /tmp/b/b.tar -C /tmp/b").status);
    EXPECT_EQ("600\n", shell("stat -c %a /tmp/b/b.tar").out);
    EXPECT_EQ("", shell("grep -ra -e " + canary + " -e dev-1 -e 10.8.0 /tmp/b").out);
    const std::string lines = shell("cat /tmp/b/harbex-bundle/logs/Harbex.log.1").out;
    EXPECT_EQ(head + "[INFO] … [1] token: … 12 failed …\n[2026-11-22 03:00:00][DEBUG] plaintext: …\n", lines)
        << "time, level, place, numbers and the words of the sources";
    EXPECT_NE(std::string::npos, read_text("/tmp/b/harbex-bundle/logs/Harbex.log").find("] registration.cpp ["));
    EXPECT_EQ(74, shell("harbexctl bundle /tmp/b/b.tar").status) << "nothing is overwritten";
}

TEST_F(Doctor, TheManualSaysWhatTheTablesSay) {
    // Set in the page's markup: emphasis goes, lines run on.
    const std::string page = std::regex_replace(read_text(HARBEX_MANUAL), std::regex("[*_\\\\]|\\n\\t?"), " ");
    const std::string flat = std::regex_replace(page, std::regex(" +"), " ");
    const std::string help = shell(
                                 "harbexctl --help; for group in agent event org region supernode token tour "
                                 "virtual-ip vpn; do harbexctl $group --help; done")
                                 .out;
    std::istringstream lines(help);
    int count = 0;
    const std::regex row("  (?:([a-z][a-z-]*) {2,}|(\\d+)  )(.+)");
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_match(line, match, row)) continue;
        ++count;
        EXPECT_NE(std::string::npos, flat.find(std::regex_replace(match[3].str(), std::regex(" +"), " "))) << line;
    }
    EXPECT_GE(count, 50) << "commands, groups and exit statuses";
}

TEST_F(Doctor, HelpCompletionAndColour) {
    EXPECT_EQ("{\"command\":\"help\"", shell("harbexctl org use --help --json").out.substr(0, 17));
    EXPECT_EQ("{\"command\":\"\",\"code\":5", shell("harbexctl --json org bogus").out.substr(0, 22));
    EXPECT_NE(std::string::npos, shell("harbexctl org use -h").out.find("Example: harbexctl org use"));
    const std::string complete =
        "eval \"$(harbexctl completion)\"; COMP_WORDS=(harbexctl wait --for j); COMP_CWORD=3; _harbexctl harbexctl "
        "j; "
        "echo ${COMPREPLY[@]}";
    EXPECT_EQ("joined\n", shell(complete).out);
    const std::string colours = "script -qec 'harbexctl status' /dev/null | grep -c $'\\033'";
    EXPECT_EQ("1\n0\n0\n", shell(colours + "; NO_COLOR=1 " + colours + "; harbexctl status | grep -c $'\\033'").out);
}

}  // namespace
}  // namespace harbex::test
