#include "service/tunnel_statistics.h"

#include <jansson.h>

#include "common/service_names.h"
#include "service/bus_client.h"
#include "service/gateway_info.h"
#include "service/logger.h"
#include "service/refusal.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr BusCall kTunnelQuery{
    .service = system::kEdgeDaemon,
    .method = "GetIpsecStatus",
    .timeout_s = 60,
    .announcement = "bsh API: bsh corvane_expressd.GetIpsecStatus",
    .call_failed = "Failed to execute corvane_expressd.GetIpsecStatus",
};

// No message: the code alone is for the caller.
int refuse_without_words(bs_io* io, int code, const char* words) {
    return send_error_response(io, failed(code, words), "");
}

}  // namespace

int Get_rxtx(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_rxtx");
    InterfaceInfo info;
    NetworkStat stat;
    if (const int result = get_gateway_info(info, stat); result != E_SUCCESS) {
        return refuse_without_words(io, result, "Cannot get gateway info");
    }
    if (get_interface_rxtx_bytecount(info.gateway_ifname, stat) != E_SUCCESS) {
        return send_error_response(io, E_GET_INTERFACE_RXTX_BYTECOUNT_FAIL, "");
    }
    const BusReply reply = call_service(kTunnelQuery);
    if (reply.result != E_SUCCESS) return send_error_response(io, E_BS_FAIL, "");
    json_t* tunnels = json_object_get(reply.document.get(), "data");
    if (tunnels == nullptr) return refuse_without_words(io, E_BS_FAIL, "Failed to get data");
    return send_success_response(
        io, json_pack("{s:{s:s, s:I, s:I, s:f, s:f, s:I, s:I}, s:O}", "interface",                   //
                      "name", info.gateway_ifname.c_str(),                                           //
                      "rx_bytes", json_int_t{stat.rx_bytes}, "tx_bytes", json_int_t{stat.tx_bytes},  //
                      "rx_rate", stat.rx_rate, "tx_rate", stat.tx_rate,                              //
                      "rx_packets_count", json_int_t{stat.rx_packets_count},                         //
                      "tx_packets_count", json_int_t{stat.tx_packets_count},                         //
                      "tunnels", tunnels));
}

}  // namespace harbex::service
