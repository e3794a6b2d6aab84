// The running VPN daemons, found by their program names, and the scripts that control their connections.
// Published.
#pragma once

#include <string>
#include <vector>

#include "common/vpn_type.h"

namespace harbex::system {

struct Process {
    int index;  // profile number of a client daemon, from its command line; 0 for servers
    int pid;
    TYPE type;
};

// Not synchronised: one thread at a time, all objects together (see is_vpn_process).
class VpnProcess {
public:
    std::vector<Process> processes;  // in the order found

    // Rebuilds `processes` from /proc. Always 0; an unreadable /proc gives an empty table.
    int update();

    // Sends SIGUSR2 to the first listed process with that pid and takes it off the list, without waiting for its end.
    // A pid that is not listed gets no signal.
    void kill(int pid);

    // The pid of the first listed process of that type and profile number, 0 for none.
    int pidof(TYPE type, int index);

    // Judges a raw command line (arguments ended by NUL bytes), which it changes. The record is one for all objects
    // and valid until the next call; null for a program that is no VPN daemon.
    Process* is_vpn_process(std::string& cmdline, int pid);
};

// Asks the VPN control script, in the background, to drop all connections of a service or one of them. A null `arg`
// is passed as "". Nothing is learnt of the outcome.
void kick_all_connection(TYPE type, const char* arg);
void kick_one_connection(TYPE type, const char* arg);

// Runs the platform's checker script on the two arguments; blocks until it ends. 1: valid (it exited with 0), 0
// otherwise. Not beside `background` in another thread, which may take its result.
int verify_ovpn_config(const char* a, const char* b);

}  // namespace harbex::system
