// What the network manager says about the NAS's gateway interface. The daemon's own.
#pragma once

#include <jansson.h>

#include <cstdint>
#include <string>

namespace harbex::service {

// One interface; texts are empty and numbers 0 when the network manager does not say.
struct InterfaceInfo {
    std::string gateway_ifname;
    std::string display_name;
    bool link_running = false;
    std::string interface_type;
    int vlan_id = 0;
    std::string ip4_address;
    std::string ip4_mask;
    std::string ip4_type;
    std::string ip6_address;
    std::string ip6_mask;
    std::string ip6_type;  // never filled
    std::string physical_loc;
};

// The counters of an interface since it came up, and its rates.
struct NetworkStat {
    int64_t tx_bytes = 0;
    int64_t rx_bytes = 0;
    double rx_rate = 0.0;  // kilobits a second
    double tx_rate = 0.0;
    int64_t tx_packets_count = 0;
    int64_t rx_packets_count = 0;
};

// Fills both from the candidate with the lowest metric in `candidates`, an array as the network manager gives it;
// leaves them as they are when none qualifies. E_SUCCESS, or E_JSON_FAIL for an array that cannot be read.
[[nodiscard]] int choose_gateway(const json_t* candidates, InterfaceInfo& info, NetworkStat& stat);

// Asks the network manager for the gateway interface; "eth0" and nothing else when there is none. Blocks for up to 10
// s. E_SUCCESS, E_BS_FAIL, or E_JSON_FAIL for a reply whose "data" is no array.
[[nodiscard]] int get_gateway_info(InterfaceInfo& info, NetworkStat& stat);

// Fills the live rates and byte counts of one interface; packet counts stay. Blocks for up to 60 s. E_SUCCESS,
// E_BS_FAIL, or E_JSON_FAIL for a name that is no text.
[[nodiscard]] int get_interface_rxtx_bytecount(const std::string& ifname, NetworkStat& stat);

}  // namespace harbex::service
