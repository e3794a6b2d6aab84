// Raw command lines of processes, as /proc shows them.
#include "common/process_table.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    harbex::system::VpnProcess table;
    std::string line(input);
    const harbex::system::Process* found = table.is_vpn_process(line, 7);
    require(found == nullptr || (found->pid == 7 && found->index >= 0), "a VPN daemon has its pid and an index");
}
