#include "common/process_table.h"

#include <dirent.h>
#include <regex.h>
#include <signal.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string_view>

#include "common/child_process.h"
#include "common/exec.h"
#include "common/releaser.h"

namespace harbex::system {
namespace {

struct Program {
    std::string_view name;
    TYPE type;
    bool is_client;
};

// WireGuard lives in the kernel and has no daemon.
constexpr Program kPrograms[] = {
    {"pptpd", PPTP_SERVER_TYPE, false},        {"xl2tpd", L2TP_SERVER_TYPE, false},
    {"openvpn", OVPN_SERVER_TYPE, false},      {"spind", SPINDLE_SERVER_TYPE, false},
    {"pppd-pptp", PPTP_CLIENT_TYPE, true},     {"pppd-l2tp", L2TP_CLIENT_TYPE, true},
    {"openvpnclient", OVPN_CLIENT_TYPE, true}, {"spinc", SPINDLE_CLIENT_TYPE, true},
};

constexpr const char* kControlScript = "/etc/init.d/vpn_common.sh";
constexpr const char* kOvpnChecker = "/usr/sbin/verify_ovpn.sh";

const Program* find_program(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    const auto* found = std::find_if(std::begin(kPrograms), std::end(kPrograms),
                                     [&](const Program& program) { return program.name == name; });
    return found == std::end(kPrograms) ? nullptr : found;
}

// The profile number in a client's arguments, 0 when they name none. The last "client<digits>" wins.
int profile_index(const std::string& arguments) {
    regex_t expression;
    if (regcomp(&expression, "^.*client([0-9]+).*", REG_EXTENDED) != 0) return 0;
    regmatch_t groups[2];
    const bool matches = regexec(&expression, arguments.c_str(), 2, groups, REG_NOTEOL) == 0;
    regfree(&expression);
    if (!matches) return 0;
    const long long number = std::strtoll(arguments.c_str() + groups[1].rm_so, nullptr, 10);
    return static_cast<int>(std::min<long long>(number, INT_MAX));
}

void kick(const char* action, TYPE type, const char* arg) {
    char number[65] = "";
    std::snprintf(number, sizeof number, "%d", static_cast<int>(type));
    // exec leaves the texts alone; its signature is older than const.
    char* const argv[] = {const_cast<char*>(kControlScript), const_cast<char*>(action), number,
                          const_cast<char*>(arg == nullptr ? "" : arg), nullptr};
    (void)background(argv);  // nobody waits for the outcome
}

}  // namespace

int VpnProcess::update() try {
    processes.clear();
    const std::unique_ptr<DIR, Releaser<closedir>> proc(opendir("/proc"));
    if (!proc) return 0;
    while (const dirent* entry = readdir(proc.get())) {
        const long pid = std::strtol(entry->d_name, nullptr, 10);
        if (pid == 0) continue;
        std::ifstream file("/proc/" + std::string(entry->d_name) + "/cmdline");
        std::string word;
        file >> word;
        if (const Process* process = is_vpn_process(word, static_cast<int>(pid))) processes.push_back(*process);
    }
    return 0;
} catch (...) {  // no memory: the table ends here
    return 0;
}

Process* VpnProcess::is_vpn_process(std::string& cmdline, int pid) {
    static Process record;
    record = {0, pid, NONE_TYPE};
    const size_t end = std::min(cmdline.find('\0'), cmdline.size());
    const Program* program = find_program(std::string_view(cmdline).substr(0, end));
    if (program == nullptr) return nullptr;
    record.type = program->type;
    if (program->is_client) {
        cmdline.erase(0, end);
        std::replace(cmdline.begin(), cmdline.end(), '\0', ' ');
        record.index = profile_index(cmdline);
    }
    return &record;
}

int VpnProcess::pidof(TYPE type, int index) {
    const auto found = std::find_if(processes.begin(), processes.end(), [&](const Process& process) {
        return process.type == type && process.index == index;
    });
    return found == processes.end() ? 0 : found->pid;
}

void VpnProcess::kill(int pid) {
    const auto found =
        std::find_if(processes.begin(), processes.end(), [&](const Process& process) { return process.pid == pid; });
    if (found == processes.end()) return;
    ::kill(pid, SIGUSR2);
    processes.erase(found);
}

void kick_all_connection(TYPE type, const char* arg) {
    kick("kick_all_connection", type, arg);
}

void kick_one_connection(TYPE type, const char* arg) {
    kick("kick_one_connection", type, arg);
}

int verify_ovpn_config(const char* a, const char* b) {
    char* const argv[] = {const_cast<char*>(kOvpnChecker), const_cast<char*>(a), const_cast<char*>(b), nullptr};
    const pid_t child = start_program({argv, go_nowhere});
    int status = 0;
    return child >= 0 && wait_for_child(child, status) && exited_with_0(status) ? 1 : 0;
}

}  // namespace harbex::system
