// The bus methods that take the NAS out of its SD-WAN roles, and their steps. The daemon's own.
#pragma once

#include <bsvc.h>

#include <string>
#include <vector>

namespace harbex::service {

// Runs argv[0] and blocks until it ends. 0 with its standard output in `output`; otherwise the runner's non-zero
// result with its standard error there.
[[nodiscard]] int do_exec_safe(const std::vector<std::string>& argv, std::string& output);

// Tells the edge daemon to drop its super-node configuration. Blocks for up to 60 s. "" on success, otherwise the
// words of the failure, logged already.
std::string supernodeHalt();
// Tells the edge daemon to drop its super-node tunnels. Blocks for up to 60 s. Returns what supernodeHalt returns.
std::string supernodeIpsecClear();

// Bus method: reads nothing, answers "". Blocks for up to 120 s of calls.
int Supernode_halt(bs_io* io);
// Bus method: reads nothing, answers the cloud's words about the deletion; an answer that is no UTF-8 text gets no
// reply. Blocks for up to 10 s of transfer, and as long as Get_corvanetoken.
int Device_unregister_from_nas(bs_io* io);
// Bus method: reads nothing, answers "". Blocks until its three scripts have ended.
int Device_remove_by_corvane(bs_io* io);

}  // namespace harbex::service
