#include "common/process_table.h"

#include <signal.h>

#include <chrono>
#include <thread>

#include "common/in_folder.h"

namespace harbex::system {
namespace {

using test::read_text;

// Waits for what another process is about to do.
template <typename Condition>
void await(Condition condition) {
    for (int tries = 0; tries < 1000 && !condition(); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

// Runs a shell under another program name with the given arguments.
pid_t run_as(const std::string& program, const std::vector<std::string>& arguments) {
    const pid_t child = fork();
    if (child == 0) {
        std::vector<char*> argv = {const_cast<char*>(program.c_str())};
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv("/bin/sh", argv.data());
        _exit(1);
    }
    await([&] { return read_text("/proc/" + std::to_string(child) + "/cmdline").starts_with(program); });
    return child;
}

TEST(VpnProcess, CommandLinesAreClassified) {
    const struct {
        std::string cmdline;
        int type, index;  // type -1: no VPN daemon
    } cases[] = {
        {std::string("spinc\0client1\0client22\0", 22), SPINDLE_CLIENT_TYPE, 22},
        {std::string("/opt/client7/pppd-pptp\0x\0", 25), PPTP_CLIENT_TYPE, 0},
        {std::string("/usr/sbin/openvpn\0client4\0", 26), OVPN_SERVER_TYPE, 0},
        {"xl2tpd", L2TP_SERVER_TYPE, 0},
        {"spind", SPINDLE_SERVER_TYPE, 0},
        {"pppd-l2tp", L2TP_CLIENT_TYPE, 0},
        {"/usr/sbin/openvpnclient2", -1, 0},
    };
    for (const auto& c : cases) {
        std::string cmdline = c.cmdline;
        const Process* process = VpnProcess().is_vpn_process(cmdline, 42);
        ASSERT_EQ(process == nullptr, c.type < 0) << c.cmdline;
        if (process == nullptr) continue;
        EXPECT_EQ(c.type, process->type) << c.cmdline;
        EXPECT_EQ(c.index, process->index) << c.cmdline;
        EXPECT_EQ(42, process->pid) << c.cmdline;
    }
}

TEST(VpnProcess, FindsSignalsAndForgetsRunningOnes) {
    test::write_text("/tmp/wait", "sleep 20\n:\n");
    const pid_t client = run_as("/usr/sbin/openvpnclient", {"/tmp/wait", "client3", "--config", "/tmp/client7.conf"});
    // What stands behind the first blank is not read.
    const pid_t blank = run_as("spinc", {"-c", "sleep 20; :", "client7"});
    const pid_t other = run_as("pptpd", {"/tmp/wait"});
    VpnProcess table;
    EXPECT_EQ(0, table.update());
    EXPECT_EQ(0, table.update());
    ASSERT_EQ(3U, table.processes.size());
    EXPECT_EQ(client, table.pidof(OVPN_CLIENT_TYPE, 7));
    EXPECT_EQ(blank, table.pidof(SPINDLE_CLIENT_TYPE, 0));
    EXPECT_EQ(other, table.pidof(PPTP_SERVER_TYPE, 0));
    EXPECT_EQ(0, table.pidof(OVPN_CLIENT_TYPE, 3));

    table.kill(getpid());  // not listed
    EXPECT_EQ(3U, table.processes.size());
    table.kill(client);
    ASSERT_EQ(2U, table.processes.size());
    EXPECT_EQ(128 + SIGUSR2, test::wait_for(client));

    // Off the list: not signalled again.
    table.processes.clear();
    table.kill(other);
    EXPECT_EQ(0, waitpid(other, nullptr, WNOHANG));
    for (const pid_t left : {blank, other}) {
        ::kill(left, SIGKILL);
        (void)test::wait_for(left);
    }
}

TEST(Connections, AreKickedByTheControlScript) {
    const std::string log = "/tmp/kicked";
    const test::ReplacedTool script("/etc/init.d/vpn_common.sh", "printf '[%s]' \"$@\" >>" + log + "; echo >>" + log);
    std::string expected;
    const auto expect_line = [&](const std::string& line) {
        expected += line + "\n";
        await([&] { return read_text(log) == expected; });
        EXPECT_EQ(read_text(log), expected);
    };
    kick_all_connection(PPTP_SERVER_TYPE, nullptr);
    expect_line("[kick_all_connection][1][]");
    kick_one_connection(WIREGUARD_CLIENT_TYPE, "a b");
    expect_line("[kick_one_connection][65536][a b]");
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
