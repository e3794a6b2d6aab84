#include "eventlog/nc_msg_db.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstddef>

#include "common/child_process.h"

namespace harbex {

const nc_msg_struct __NC_MSG_DB__[44] = {
    {"C001", "0001", "info", "[{0}] Enabled {1} server."},
    {"C001", "0002", "info", "[{0}] Disabled {1} server."},
    {"C001", "0003", "info", "[{0}] Applied the {1} server configuration."},
    {"C001", "0004", "info", "[{0}] Applied the privilege settings for \"{1}\"."},
    {"C001", "0005", "warn", "[{0}] Removed the privileges of \"{1}\"."},
    {"C002", "0006", "info", "[{0}] Connected the {1} profile: \"{2}\"."},
    {"C002", "0007", "info", "[{0}] Disconnected the {1} profile: \"{2}\"."},
    {"C002", "0008", "warn", "[{0}] Deleted the {1} profile: \"{2}\"."},
    {"C002", "0009", "info", "[{0}] Edited the {1} profile: \"{2}\"."},
    {"C002", "0010", "info", "[{0}] Added the {1} profile: \"{2}\"."},
    {"C002", "0011", "info", "[{0}] Set NAS default gateway to the {1} profile: \"{2}\"."},
    {"C002", "0012", "info", "[{0}] Set backup NAS default gateway to the {1} profile: \"{2}\"."},
    {"C002", "0013", "info", "[{0}] Set the delay for NAS default gateway reversion to \"{1}\"."},
    {"C003", "0014", "info", "[{0}] Disabled {1} server."},
    {"C003", "0015", "info", "[{0}] Disconnected the {1} profile: \"{2}\"."},
    {"C003", "0016", "info", "[{0}] Enabled {1} server."},
    {"C001", "0017", "info",
     "[{0}] Connection log information. Date: {1}, Uptime: {2}, Username: {3}, Source: {4}, Client IP: {5}, "
     "Transmission rate: {6}, Receiving rate: {7}, Protocol: {8}, Connection status: {9}."},
    {"C002", "0018", "info",
     "[{0}] Connection log information. Date: {1}, Uptime: {2}, Username: {3}, Protocol: {4}, Client IP: {5}, Public "
     "IP: {6}, Server country: {7}, Transmission rate: {8}, Receiving rate: {9}, Connection status: {10}."},
    {"C001", "0019", "info",
     "[{0}] Updated the login attempt policy. Number of login attempts: {1}, Login failure block time: {2}, Login "
     "attempt policy: {3}."},
    {"C001", "0020", "warn", "[{0}] Blocked user \"{1}\". The user has reached the login attempt limit."},
    {"C001", "0021", "info", "[{0}] Unblocked user \"{1}\"."},
    {"C001", "0022", "info",
     "[{0}] Edited the WireGuard server settings. Server name: {1}, IP address: {2}, Listen port: {3}, Network "
     "interface: {4}, DNS server: {5}."},
    {"C001", "0023", "info",
     "[{0}] Added WireGuard peer. Peer name: {1}, Endpoint: {2}, Allowed IPs: {3}, Persistent keepalive: {4}."},
    {"C001", "0024", "info",
     "[{0}] Deleted WireGuard peer. Peer name: {1}, Endpoint: {2}, Allowed IPs: {3}, Persistent keepalive: {4}."},
    {"C001", "0025", "info",
     "[{0}] Edited WireGuard peer. Peer name: {1}, Endpoint: {2}, Allowed IPs: {3}, Persistent keepalive: {4}."},
    {"C002", "0026", "info",
     "[{0}] Added WireGuard client. Name: {1}, Address: {2}, Listen port: {3}, DNS server: {4}, Endpoint: {5}, "
     "Allowed IPs: {6}, Persistent keepalive: {7}."},
    {"C002", "0027", "info",
     "[{0}] Edited WireGuard client settings. Name: {1}, Address: {2}, Listen port: {3}, DNS server: {4}, Endpoint: "
     "{5}, Allowed IPs: {6}, Persistent keepalive: {7}."},
    {"C002", "0028", "info",
     "[{0}] Deleted WireGuard client. Name: {1}, Address: {2}, Listen port: {3}, DNS server: {4}, Endpoint: {5}, "
     "Allowed IPs: {6}, Persistent keepalive: {7}."},
    {"C001", "0029", "info", "[{0}] \"{1}\" status: {2}. The status will be synchronized with the Palisade rules."},
    {"C001", "0030", "warn", "[{0}] Failed to add \"{1}\" to the Palisade allow rule."},
    {"C001", "0031", "warn",
     "[{0}] setup_vpn_entrance failed. VPN connection may appear connected but network traffic cannot be sent out"},
    {"C001", "0032", "warn", "[{0}] boot_setup_nat may not execute properly."},
    {"C001", "0033", "warn", "[{0}] Set vpn routing rule failed."},
    {"C001", "0034", "warn", "[{0}] Failed to load ipip.ko or fou.ko."},
    {"C004", "0031", "info",
     "[{0}] Connected NAS to Corvane Orchestrator. Organization: {1}, Region: {2}, Hub: {3}."},
    {"C004", "0032", "info",
     "[{0}] Disconnected NAS from Corvane Orchestrator. Organization: {1}, Region: {2}, Hub: {3}."},
    {"C004", "0033", "info", "[{0}] Activated the \"{1}\" plan. Expiration date: {2}."},
    {"C004", "0034", "info", "[{0}] Changed the existing license plan to the \"{1}\" plan. Expiration date: {2}."},
    {"C004", "0035", "info", "[{0}] Deactivated the \"{1}\" plan. Expiration date: {2}."},
    {"C004", "0036", "warn",
     "[{0}] Reducing data transmission speed soon because the Super Node is approaching its usage limit (less than 5 "
     "GB remaining). Renewal date: {1}."},
    {"C004", "0037", "warn",
     "[{0}] Reduced the data transmission speed because the Super Node has reached its monthly usage limit. Renewal "
     "date: {1}."},
    {"C004", "0038", "error", "[{0}] Failed to connect to the Super Node."},
    {"C004", "0039", "info", "[{0}] Reconnected to the Super Node."},
    {"C004", "0040", "info", "[{0}] Changed the Corvane Express NAS Virtual IP from {1} to {2}."},
};

namespace nclog {
namespace {

constexpr const char* kNotifyTool = "/usr/local/sbin/notify";
constexpr const char* kApplicationCode = "A238";
constexpr const char* kApplicationName = "Harbex Service";
constexpr size_t kArguments = 26;  // 14 fixed ones and up to 12 values
constexpr int kFirstInherited = 3;

void close_inherited() {
    if (close_range(kFirstInherited, ~0U, 0) == 0) return;
    // A kernel older than the call.
    const long limit = sysconf(_SC_OPEN_MAX);
    for (int fd = kFirstInherited; fd < limit; ++fd)
        close(fd);
}

void reopen(int fd, int flags) {
    close(fd);
    // The lowest free descriptor is the one just closed.
    (void)!open("/dev/null", flags);
}

// Only async-signal-safe calls.
bool leave_nothing_open(const system::ChildProgram&) {
    close_inherited();
    reopen(STDIN_FILENO, O_RDONLY);
    reopen(STDOUT_FILENO, O_WRONLY);
    reopen(STDERR_FILENO, O_WRONLY);
    return true;
}

}  // namespace

void notify_send(const nc_msg_struct* msg, ...) {
    if (msg == nullptr) return;
    // The texts are the caller's and outlive this call, so the child may use them without copies. One entry more than
    // the tool's arguments, so that twelve values leave the list ended.
    const char* argv[kArguments + 1] = {kNotifyTool,  "send",          "-A", kApplicationCode, "-C", msg->category_id,
                                        "-M",         msg->message_id, "-l", msg->level,       "-t", "3",
                                        msg->message, kApplicationName};
    constexpr size_t kFixed = 14;
    va_list values;
    va_start(values, msg);
    for (size_t next = kFixed; next < kArguments; ++next) {
        argv[next] = va_arg(values, const char*);
        if (argv[next] == nullptr) break;
    }
    va_end(values);

    // exec leaves the texts alone; its signature is older than const.
    const pid_t child = system::start_orphan(
        {.argv = const_cast<char* const*>(argv), .prepare = leave_nothing_open, .execute = ::execvp});
    int ignored = 0;  // nobody learns how it went
    if (child >= 0) (void)system::wait_for_child(child, ignored);
}

}  // namespace nclog
}  // namespace harbex
