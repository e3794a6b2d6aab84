// harbexctl as people and scripts run it.
#include <regex>
#include <sstream>

#include "support/nas.h"

namespace harbex::test {
namespace {

class Harbexctl : public SignedInNas {
protected:
    void SetUp() override {
        begin();
        // Leaving stops it.
        ASSERT_EQ(0, shell("appliance-service start corvane_expressd").status);
    }
    static Finished control(const std::string& words) { return shell("harbexctl " + words); }
    // `harbexctl --json WORDS`: its exit status, and what the filter makes of it, held to the schema when it is the
    // status.
    static std::string told(const std::string& words, const std::string& filter) {
        const Finished run = control("--json " + words + " >/tmp/document");
        if (words.starts_with("status")) {
            const Finished check =
                shell("python3 -W ignore -m jsonschema -i /tmp/document /usr/local/share/harbex/status.schema.json");
            EXPECT_EQ(0, check.status) << check.err << read_text("/tmp/document");
        }
        const std::string text = shell("jq -rc '" + filter + "' /tmp/document").out;
        return std::to_string(run.status) + " " + text.substr(0, text.find('\n'));
    }
};

// Behind an empty line the NAS is as at the beginning. "$ COMMAND" has to succeed; the other lines are "WORDS: " and
// how harbexctl answers them: its exit status, state or code, the beginning of its sentence and of what was not done.
constexpr const char* kStates = R"rows(
status: 0 organisation-chosen The organisation Field Office is chosen; this NAS has not joined it.
agent start: 78 69 This NAS has not joined an organisation.
virtual-ip set 10.8.0: 1 60 '10.8.0' is no IPv4 address.
virtual-ip set 0.0.0.0: 1 50 0.0.0.0 is unspecified.
virtual-ip set 127.0.0.1: 1 50 127.0.0.1 is a loopback address.
virtual-ip set 224.0.0.9: 1 50 224.0.0.9 is a multicast address.
virtual-ip set 255.255.255.255: 1 50 255.255.255.255 is the broadcast address.
virtual-ip set 192.168.1.99: 1 50 The address clashes with a network of this NAS.
region use nowhere --force: 1 9 'nowhere' is no region of the organisation.
org use nowhere --force: 1 49 'nowhere' is none of the user's organisations.
vpn kick bicycle: 1 9 'bicycle' is no kind of VPN.
tour set true maybe: 1 5 'maybe' is neither true nor false.
sign-in /nowhere: 74 7 The file cannot be read: No such file or directory.
sign-in /dev/zero: 74 7 The file cannot be read: File too large.
metrics --output /nowhere/x: 74 31 /nowhere/x cannot be written: No such file or directory.
sign-in a secret: 64 5 there are too many arguments
org bogus: 64 5 there is no command 'bogus' here
wait --for nobody: 64 5 --for takes one of internet|signed-in|joined|tunnels
wait --for joined --timeout 1: 75 85 This NAS did not join in time.
$ echo old >/tmp/m && exec 3</tmp/m && harbexctl metrics --output /tmp/m && [ "$(cat <&3; ls /tmp/m*)" = $'old\n/tmp/m' ]
$ fault /sbin/getcfg delay:60; timeout 30 harbexctl status | grep 'cannot be read'; s=$?; fault /sbin/getcfg none; exit $s
$ script -qec 'harbexctl status' /dev/null | grep $'\033'
$ ! { NO_COLOR=1 script -qec 'harbexctl status' /dev/null; harbexctl status; } | grep $'\033'
$ harbexctl org use -h | grep 'Example: harbexctl org use'
$ [ "$(harbexctl org list)" = $'Name            Id          Default\nField Office    org-7f3a1c  yes\nField Workshop  org-b41d92  no' ]
$ [ "$(harbexctl tour set TRUE False)" = done ] && harbexctl tour show --json | grep '"data":{"feature_intro":false,"feature_tip":false}}$'
$ harbexctl tour show 2>&1 >/dev/full | grep -x 'harbexctl: the outcome cannot be written: No space left on device'
$ eval "$(harbexctl completion)"; COMP_WORDS=(harbexctl --json org -) COMP_CWORD=3; _harbexctl x u && [ "${COMPREPLY[*]}" = use ]
$ eval "$(harbexctl completion)"; COMP_WORDS=(harbexctl wait --for -) COMP_CWORD=3; _harbexctl x j && [ "${COMPREPLY[*]}" = joined ]

$ setcfg 'Join Corvane' CORVANE_ORG_ID '' -f /etc/config/harbex/corvane.conf
status: 0 signed-in Somebody is signed in; no organisation is chosen.
region list: 78 36 No organisation is chosen.
join: 78 70 No organisation is chosen.
$ ! harbexctl precheck --look 2>&1 | grep removed && [ -e /etc/config/harbex/bid.conf ]
$ harbexctl precheck 2>&1 | grep 'removed (/etc/config/harbex/bid.conf)' && [ ! -e /etc/config/harbex/bid.conf ]
status: 0 factory Nobody is signed in at this NAS.
join: 77 63 Nobody is signed in at this NAS.
org list: 77 63 Nobody is signed in at this NAS.
token refresh: 77 48 Nobody is signed in at this NAS.

$ signin --expires-in -500000 | harbexctl sign-in; fault cloud:/oauth2/refresh status:401
status: 0 sign-in-expired The sign-in has expired (
org list: 77 63 The sign-in expired (
$ fault cloud:/oauth2/refresh none

$ fault cloud:/v1.2/organization status:503; fault cloud:/corvane/* delay:11
$ fault harbex_network_service.Refresh_cloudtoken 'body:{"error":7,"error_message":"not now"}'
org list: 76 51 The cloud refused: org-center.harbex.example answered with HTTP status 503.
region use grp-east: 75 76 The cloud did not answer in time: corvane-api.harbex.example.
token refresh: 1 48 The daemon (harbex_network_service) answered: not now (error 7).
$ fault harbex_network_service.Refresh_cloudtoken none; fault cloud:/v1.2/organization refuse
org list: 76 51 The cloud cannot be reached: org-center.harbex.example: Couldn't connect to server.
org use other --force: 0 0
$ fault cloud:/corvane/* none; fault cloud:/v1.2/organization none

$ appliance-service stop harbex_network_service
status: 69 daemon-down The daemon (harbex_network_service) is not running; nothing can be asked of the cloud.
org list: 69 63 The daemon (harbex_network_service) is not running.
region list: 69 64 The daemon (harbex_network_service) is not running.
leave: 0 0
$ appliance-service start harbex_network_service; pkill -STOP -x harbex_network_
status: 75 daemon-down The daemon (harbex_network_service) does not answer; nothing can be asked of the cloud.
join: 75 63 The daemon (harbex_network_service) does not answer.
$ pkill -CONT -x harbex_network_; appliance-service stop NetworkService
status: 69 manager-down The network manager (NetworkService) is not running; the gateway is unknown.
virtual-ip set 10.8.0.9: 69 60 The network manager (NetworkService) is not running.
$ appliance-service start NetworkService; appliance-service stop corvane_expressd
status: 0 edge-down The edge daemon (corvane_expressd) is not running; a join starts it.
supernode traffic: 69 60 The edge daemon (corvane_expressd) is not running.
$ fault /etc/init.d/corvane_express.sh exit:1
join: 1 67 The edge daemon's script failed. Start the edge daemon Start the cloud agent
$ fault /etc/init.d/corvane_express.sh none
agent start: 0 0
wait --for tunnels --timeout 20: 0 0
status: 0 joined This NAS has joined Field Office, and its tunnels are up.
$ edge_state change '{"tunnels": {"router": null, "supernode": null}}'
status: 0 joined-down This NAS has joined Field Office, but no tunnel is up.
$ pkill -STOP -x corvane_express
$ timeout 15 harbexctl status; [ $? -eq 75 ] # 6 s by themselves, and what a loaded machine adds
status: 75 edge-down The edge daemon (corvane_expressd) does not answer; no tunnel is up.
$ pkill -CONT -x corvane_express; rm /var/log/scripts.log; signin --expires-in -5 | harbexctl sign-in
join: 0 0
leave --local --dry-run: 0 0
$ [ ! -e /var/log/scripts.log ] && ! cloudctl requests | grep -e DELETE -e refresh
$ fault cloud:* refuse
leave: 76 63 The sign-in expired
$ harbexctl leave --local --json | jq -e '.data.left_in_cloud.organization_id == "org-7f3a1c"'
leave: 0 0
$ fault cloud:* none

$ harbexctl join --dry-run | grep -F 'request  POST https://corvane-api' && [ -z "$(cloudctl requests)" ]
$ harbexctl join && [ "$(getcfg 'Join Corvane' CORVANE_REGION_NAME -f /etc/config/harbex/corvane.conf)" = grp-east ]
org use org-b41d92: 1 45 This NAS is joined to another organisation; leave that first.
$ fault cloud:/cvnms/bthings/api/v1/devices/* status:401
leave: 76 82 The cloud refused: corvane-api.harbex.example answered with HTTP status 401. Delete the device
$ fault cloud:/cvnms/bthings/api/v1/devices/* delay:11
leave: 75 28 The cloud did not answer in time: corvane-api.harbex.example.
$ fault cloud:/cvnms/bthings/api/v1/devices/* none; fault /etc/init.d/corvane_cloudagent.sh exit:1
leave: 1 60 The agent's script did not remove its configuration.
$ fault /etc/init.d/corvane_cloudagent.sh none
leave: 0 0
$ [ ! -e /opt/harbex/etc/cloudagent/cloudagent.cfg ] && ! grep already_join /etc/config/harbex/bid.conf

$ setcfg 'Join Corvane' CORVANE_TOKEN revoked -f /etc/config/harbex/corvane.conf; signin | harbexctl sign-in
$ harbexctl join && harbexctl leave && harbexctl org use org-b41d92 && cloudctl requests --clear
$ harbexctl join && harbexctl leave && cloudctl requests | grep /edge/login
)rows";

TEST_F(Harbexctl, EachStateHasItsWordItsSentenceAndItsExitStatuses) {
    std::istringstream lines(kStates);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            SetUp();
        } else if (line[0] == '$') {
            const Finished run = shell(line.substr(2));
            EXPECT_EQ(0, run.status) << line << "\n" << run.out << run.err;
        } else {
            const std::string words = line.substr(0, line.find(": "));
            const std::string seen = told(words + (words == "status" ? " --timeout 3" : ""),
                                          "[(.data | objects | .state) // .code, (.data | objects | .sentence) // "
                                          ".cause.sentence, .cause.undone[]?] | join(\" \")");
            EXPECT_EQ(line, (words + ": " + seen).substr(0, line.size()));
        }
    }
}

TEST_F(Harbexctl, WhatTheCloudSendsDoesNotSteerTheTerminal) {
    const Fault fault("cloud:/v1.2/organization",
                      R"(body:{"result":[{"name":"\u001b[2J\n\u009bx\u00a0","organization_id":"1"}]})");
    EXPECT_EQ("Name       Id  Default\n?[2J???x\u00a0  1   no\n", control("org list").out);
}

TEST_F(Harbexctl, ShowsNoToken) {
    shell("signin >/tmp/answer");
    const std::string answer = read_text("/tmp/answer").substr(0, 60);
    const std::regex token("(va1\\.|vr1-|ct1-|dt1-)[0-9a-f]{4}");
    size_t failed = 0;
    for (const char* words :
         {"sign-in /tmp/answer", "sign-in - </tmp/answer", "sign-in \"$(cat /tmp/answer)\"", "token refresh",
          "org list", "region use auto", "join", "status", "supernode usage", "leave"}) {
        const Finished run = control(words + std::string(words[0] == 'j' || words[0] == 'l' ? " --json" : ""));
        EXPECT_FALSE(std::regex_search(run.out + run.err, token)) << words << "\n" << run.out << run.err;
        EXPECT_EQ(std::string::npos, (run.out + run.err).find(answer)) << words;
        failed += run.status == 0 ? 0 : 1;
    }
    EXPECT_EQ(1U, failed) << "the answer in the file's place";
}

TEST_F(Harbexctl, DoctorNamesWhatIsNotGoodWithinItsTime) {
    const std::string bad = R"([.data.checks[] | select(.good | not) | .name] | join(" "))";
    const std::string clock = R"(.data.checks[0] | [.name, .good, .found[-23:], .remedy[:17]] | join(" "))";
    shell("chmod 600 /etc/config/harbex/*.conf");
    EXPECT_EQ("0 ", told("doctor", bad));
    {
        const Fault date("cloud:*", "date:9999");
        EXPECT_EQ("1 clock false 9999 s behind the cloud set the clock: to", told("doctor", clock));
    }
    EXPECT_EQ("clock false 1970-01-01 00:00:10 UTC set the clock fir\n",
              shell("LD_PRELOAD=" HARBEX_EARLY_CLOCK
                    " ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 harbexctl doctor --json | jq -r '" +
                    clock + "'")
                  .out);

    const Fault expired("cloud:org-center.harbex.example", "certificate:expired");
    const Fault silent("cloud:auth-connector.harbex.example", "delay:30");
    shell("signin --expires-in -5 | harbexctl sign-in; chmod 644 /etc/config/harbex/bid.conf; cp /etc/hosts /tmp");
    shell("pkill -STOP -x NetworkService; chmod -x /etc/init.d/*express.sh; grep -v account /tmp/hosts >/etc/hosts");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(
        "1 NetworkService name resolution org-center.harbex.example account-center.harbex.example "
        "auth-connector.harbex.example sign-in /etc/init.d/corvane_express.sh /etc/config/harbex/bid.conf",
        told("doctor", bad));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(25)) << "15 s and a loaded machine";
    shell("pkill -CONT -x NetworkService; chmod +x /etc/init.d/*express.sh; cat /tmp/hosts >/etc/hosts");
}

TEST_F(Harbexctl, MetricsAreOpenMetrics) {
    const std::string text = control("metrics").out;
    // A family's samples stand below its type and help; those of a counter end with _total.
    const std::regex families(
        "(# TYPE (\\w+) (gauge|counter)\n# HELP \\2 .+\n(\\2(_total)?(\\{\\w+=\"[\\w-]+\"\\})? [0-9.e+]+\n)*)+# "
        "EOF\n");
    EXPECT_TRUE(std::regex_match(text, families)) << text;
    EXPECT_NE(std::string::npos, text.find("\nharbex_state{state=\"organisation-chosen\"} 1\n")) << text;
    EXPECT_NE(std::string::npos, text.find("\nharbex_traffic_bytes_total{direction=\"sent\"} ")) << text;
}

TEST_F(Harbexctl, TheManualSaysWhatHelpSays) {
    // Without the page's markup, its lines run on.
    const std::string manual = std::regex_replace(read_text(HARBEX_MANUAL), std::regex("[*_\\\\\\s]+"), " ");
    std::istringstream help(shell("for group in '' agent event org region supernode token tour virtual-ip vpn; do "
                                  "harbexctl $group --help; done")
                                .out);
    int rows = 0;
    std::smatch match;
    for (std::string line; std::getline(help, line);) {
        if (!std::regex_match(line, match, std::regex("  ([a-z][a-z-]*|[0-9]+) +(.+)"))) continue;
        ++rows;
        EXPECT_NE(std::string::npos, manual.find(" " + match[1].str() + " ")) << line;
        EXPECT_NE(std::string::npos, manual.find(" " + match[2].str())) << line;
    }
    EXPECT_GE(rows, 50) << "commands, groups and exit statuses";
}

TEST_F(Harbexctl, TheArchiveHoldsNoCanary) {
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
    EXPECT_EQ(74, shell("harbexctl bundle /tmp/b/b.tar").status) << "nothing is overwritten";
    replace_in("/etc/config/bpkg.conf", "/opt/harbex", "/tmp/" + canary);
    EXPECT_EQ("", shell("harbexctl bundle /tmp/b/c.tar >&2; grep -ao " + canary + " /tmp/b/c.tar").out);
    replace_in("/etc/config/bpkg.conf", "/tmp/" + canary, "/opt/harbex");
}

}  // namespace
}  // namespace harbex::test
