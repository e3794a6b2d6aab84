#include "common/process_table.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/files.h"
#include "support/run_program.h"

namespace harbex::system {
namespace {

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
    // Until it has become that program.
    const std::string cmdline = "/proc/" + std::to_string(child) + "/cmdline";
    for (int tries = 0; tries < 1000 && test::read_text(cmdline).rfind(program, 0) != 0; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return child;
}

TEST(VpnProcess, CommandLinesAreClassified) {
    const struct {
        const char* name;
        std::string cmdline;
        int type;  // -1: no VPN daemon
        int index;
    } cases[] = {
        {"last profile wins", std::string("spinc\0client1\0client22\0", 22), SPINDLE_CLIENT_TYPE, 22},
        {"name does not count as argument", std::string("/opt/client7/pppd-pptp\0x\0", 25), PPTP_CLIENT_TYPE, 0},
        {"server ignores arguments", std::string("/usr/sbin/openvpn\0client4\0", 26), OVPN_SERVER_TYPE, 0},
        {"base name must match whole", "/usr/sbin/openvpnclient2", -1, 0},
    };
    VpnProcess table;
    for (const auto& c : cases) {
        std::string cmdline = c.cmdline;
        const Process* process = table.is_vpn_process(cmdline, 42);
        if (c.type < 0) {
            EXPECT_EQ(nullptr, process) << c.name;
            continue;
        }
        ASSERT_NE(nullptr, process) << c.name;
        EXPECT_EQ(c.type, process->type) << c.name;
        EXPECT_EQ(c.index, process->index) << c.name;
        EXPECT_EQ(42, process->pid) << c.name;
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

}  // namespace
}  // namespace harbex::system
