#include "common/process_table.h"

#include <signal.h>

#include "common/in_folder.h"

namespace harbex::system {
namespace {

using test::read_text, test::wait_until;

pid_t run_as(const std::string& program, const std::string& arguments) {
    const pid_t child = test::start_program(
        {"/bin/bash", "-c", "exec -a " + program + " /bin/sh /tmp/wait " + arguments}, STDOUT_FILENO, STDERR_FILENO);
    wait_until([&] { return read_text("/proc/" + std::to_string(child) + "/cmdline").starts_with(program); });
    return child;
}

TEST(VpnProcess, CommandLinesAreClassified) {
    using Kind = std::pair<int, int>;  // type and index
    const std::pair<std::string, Kind> cases[] = {
        {std::string("spinc\0client1\0client22\0", 22), {SPINDLE_CLIENT_TYPE, 22}},
        {std::string("/opt/client7/pppd-pptp\0x\0", 25), {PPTP_CLIENT_TYPE, 0}},
        {std::string("/usr/sbin/openvpn\0client4\0", 26), {OVPN_SERVER_TYPE, 0}},
        {"/usr/sbin/openvpnclient2", {-1, -1}},  // no VPN daemon
    };
    for (auto [cmdline, kind] : cases) {
        const Process* process = VpnProcess().is_vpn_process(cmdline, 42);
        EXPECT_EQ(kind, process == nullptr ? Kind(-1, -1) : Kind(process->type, process->index)) << cmdline;
    }
}

TEST(VpnProcess, FindsSignalsAndForgetsRunningOnes) {
    test::write_text("/tmp/wait", "sleep 20\n:\n");
    const pid_t client = run_as("/usr/sbin/openvpnclient", "client3 --config /tmp/client7.conf");
    const pid_t other = run_as("pptpd", "");
    VpnProcess table;
    // Between fork and exec a child of theirs looks like them.
    wait_until([&] { return table.update() == 0 && table.processes.size() == 2; });
    EXPECT_EQ(0, table.update());
    ASSERT_EQ(2U, table.processes.size());
    EXPECT_EQ(client, table.pidof(OVPN_CLIENT_TYPE, 7));
    EXPECT_EQ(other, table.pidof(PPTP_SERVER_TYPE, 0));

    table.kill(client);
    EXPECT_EQ(128 + SIGUSR2, test::wait_for(client));

    EXPECT_EQ(1U, table.processes.size());
    ::kill(other, SIGKILL);
    (void)test::wait_for(other);
}

TEST(Connections, AreKickedByTheControlScript) {
    const std::string log = "/tmp/kicked";
    const test::ReplacedTool script("/etc/init.d/vpn_common.sh", "printf '[%s]' \"$@\" >>" + log + "; echo >>" + log);
    kick_all_connection(PPTP_SERVER_TYPE, nullptr);
    wait_until([&] { return read_text(log).ends_with('\n'); });
    kick_one_connection(WIREGUARD_CLIENT_TYPE, "a b");
    const std::string expected = "[kick_all_connection][1][]\n[kick_one_connection][65536][a b]\n";
    EXPECT_TRUE(wait_until([&] { return read_text(log) == expected; })) << read_text(log);
}

TEST(OvpnConfiguration, IsWhatTheCheckerScriptSays) {
    const test::ReplacedTool checker("/usr/sbin/verify_ovpn.sh",
                                     "case $1$2 in ab) ;; x*) kill -9 $$;; *) exit 3; esac");
    EXPECT_EQ(verify_ovpn_config("a", "b"), 1);
    EXPECT_EQ(verify_ovpn_config("a", ""), 0);
    EXPECT_EQ(verify_ovpn_config("x", "b"), 0) << "killed";
}

}  // namespace
}  // namespace harbex::system
