#include "service/gateway_methods.h"

#include <jansson.h>

#include <string>

#include "corvane/device/gateway.h"
#include "service/gateway_info.h"
#include "service/logger.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

// Runs the gateway query for a bus method; a failure is answered here.
int require_gateway_info(bs_io* io, InterfaceInfo& info, NetworkStat& stat) {
    const int result = get_gateway_info(info, stat);
    if (result == E_SUCCESS) return E_SUCCESS;
    Logger::Log(ERROR, "Cannot get gateway info");
    return send_error_response(io, result, "");
}

json_int_t wire(int64_t value) {
    return value;
}

}  // namespace

int Get_gateway_info(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_gateway_info");
    InterfaceInfo info;
    NetworkStat stat;
    if (const int result = require_gateway_info(io, info, stat); result != E_SUCCESS) return result;
    // The rates are 0.0 here: the gateway query does not fill them, and callers expect the members.
    return send_success_response(
        io, json_pack("{s:{s:I, s:I, s:f, s:f, s:I, s:I}, s:{s:s, s:s, s:s, s:s, s:s, s:b, s:s, s:i}}",      //
                      "ns",                                                                                  //
                      "rx_bytes", wire(stat.rx_bytes), "tx_bytes", wire(stat.tx_bytes),                      //
                      "rx_rate", stat.rx_rate, "tx_rate", stat.tx_rate,                                      //
                      "rx_packets_count", wire(stat.rx_packets_count),                                       //
                      "tx_packets_count", wire(stat.tx_packets_count),                                       //
                      "gw_info",                                                                             //
                      "ip4_address", info.ip4_address.c_str(), "ip4_mask", info.ip4_mask.c_str(),            //
                      "ip4_type", info.ip4_type.c_str(), "display_name", info.display_name.c_str(),          //
                      "physical_loc", info.physical_loc.c_str(), "link_running", info.link_running ? 1 : 0,  //
                      "interface_type", info.interface_type.c_str(), "vlan_id", info.vlan_id));
}

int Get_rxtx_bytecount(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_rxtx_bytecount");
    InterfaceInfo info;
    NetworkStat stat;
    if (const int result = require_gateway_info(io, info, stat); result != E_SUCCESS) return result;
    return send_success_response(io, json_pack("{s:{s:I, s:I, s:I, s:I}}", info.gateway_ifname.c_str(),  //
                                               "rx_bytes_count", wire(stat.rx_bytes),                    //
                                               "rx_packets_count", wire(stat.rx_packets_count),          //
                                               "tx_bytes_count", wire(stat.tx_bytes),                    //
                                               "tx_packets_count", wire(stat.tx_packets_count)));
}

int Get_port_status(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_port_status");
    InterfaceInfo info;
    NetworkStat stat;
    if (const int result = require_gateway_info(io, info, stat); result != E_SUCCESS) return result;
    const std::string port = "PORT" + corvane::get_ethernet_loc(info.physical_loc);
    return send_success_response(io, json_pack("[{s:b, s:s}]", "carrier_status", info.link_running ? 1 : 0,  //
                                               "port_name", port.c_str()));
}

}  // namespace harbex::service
