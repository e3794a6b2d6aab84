// The kinds of VPN services, one bit each. Published.
#pragma once

namespace harbex {

enum TYPE : int {
    NONE_TYPE = 0,
    PPTP_SERVER_TYPE = 1,
    L2TP_SERVER_TYPE = 2,
    OVPN_SERVER_TYPE = 4,
    SPINDLE_SERVER_TYPE = 16,
    WIREGUARD_SERVER_TYPE = 32,
    PPTP_CLIENT_TYPE = 256,
    L2TP_CLIENT_TYPE = 512,
    OVPN_CLIENT_TYPE = 1024,
    SPINDLE_CLIENT_TYPE = 4096,
    WIREGUARD_CLIENT_TYPE = 65536,
};

}  // namespace harbex
