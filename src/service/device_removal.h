#pragma once

#include <bsvc.h>

#include <string>
#include <vector>

namespace harbex::service {

// Runs argv[0] and blocks until it ends. 0 with its standard output in `output`; otherwise the runner's non-zero
// result with its standard error there.
[[nodiscard]] int do_exec_safe(const std::vector<std::string>& argv, std::string& output);

// Tell the edge daemon to drop its super-node configuration and its super-node tunnels. Each blocks for up to 60 s.
// "" on success, otherwise the words of the failure, logged already.
std::string supernodeHalt();
std::string supernodeIpsecClear();

// Bus methods; none reads its request. The first blocks for up to 120 s, the second for a login, a renewal and a
// request, the third until its three scripts have ended. A deletion whose answer is no UTF-8 text gets no reply.
int Supernode_halt(bs_io* io);
int Device_unregister_from_nas(bs_io* io);
int Device_remove_by_corvane(bs_io* io);

}  // namespace harbex::service
