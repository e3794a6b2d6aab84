// The names under which services stand on the bus. The library's own.
#pragma once

namespace harbex::system {

inline constexpr const char kNetworkService[] = "harbex_network_service";  // this application's daemon
inline constexpr const char kNetworkManager[] = "NetworkService";          // the NAS's
inline constexpr const char kEdgeDaemon[] = "corvane_expressd";

}  // namespace harbex::system
