#include "service/gateway_info.h"

#include <limits>

#include "common/json_owner.h"
#include "common/service_names.h"
#include "service/bus_client.h"
#include "service/logger.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr BusCall kGatewayQuery{
    .service = system::kNetworkManager,
    .method = "api.get_currentGWinfo",
    .timeout_s = 10,
    .announcement = "bsh API: bsh NetworkService.api.get_currentGWinfo",
    .call_failed = "Failed to execute NetworkService.api.get_currentGWinfo",
    .rejected = "",
};
constexpr BusCall kCounterQuery{
    .service = system::kNetworkManager,
    .method = "interfaces_monitor.get_info_interfaces",
    .timeout_s = 60,
    .announcement = "bsh API: bsh NetworkService.interfaces_monitor.get_info_interfaces",
    .call_failed = "Fail to execute NetworkService.interfaces_monitor.get_info_interfaces",
};
constexpr json_int_t kWorstMetric = 0x7fffffff;

int64_t count_of(const json_t* object, const char* key) {
    return json_integer_value(json_object_get(object, key));  // 0 for anything but an integer
}

int int_of(const json_t* object, const char* key) {
    const int64_t value = count_of(object, key);
    const bool fits = value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(value) : 0;
}

bool is_candidate(const json_t* element) {
    const json_t* type = json_object_get(element, "interface_type");
    return json_is_string(type) && json_member_text(element, "interface_type") != "VPN" &&
           json_is_integer(json_object_get(element, "metric"));
}

InterfaceInfo read_interface(const json_t* element, const json_t* status) {
    const json_t* ip4 = json_array_get(json_object_get(status, "IPv4"), 0);
    const json_t* ip6 = json_array_get(json_object_get(status, "IPv6"), 0);
    InterfaceInfo info;
    info.gateway_ifname = json_member_text(element, "ifname");
    info.display_name = json_member_text(element, "display_name");
    info.link_running = count_of(status, "link_running") >= 1;
    info.interface_type = json_member_text(element, "interface_type");
    info.vlan_id = int_of(status, "vlan_id");
    info.ip4_address = json_member_text(ip4, "ip");
    info.ip4_mask = json_member_text(ip4, "netmask");
    info.ip4_type = json_member_text(status, "ip4_type");
    info.ip6_address = json_member_text(ip6, "ip");
    info.ip6_mask = json_member_text(ip6, "netmask");
    info.physical_loc = json_member_text(status, "physical_loc");
    return info;
}

void read_counters(const json_t* status, NetworkStat& stat) {
    stat.tx_bytes = count_of(status, "tx_bytes_count");
    stat.rx_bytes = count_of(status, "rx_bytes_count");
    stat.tx_packets_count = count_of(status, "tx_packets_count");
    stat.rx_packets_count = count_of(status, "rx_packets_count");
}

}  // namespace

int choose_gateway(const json_t* candidates, InterfaceInfo& info, NetworkStat& stat) {
    json_int_t best = kWorstMetric;
    for (size_t i = 0; i < json_array_size(candidates); i++) {
        const json_t* element = json_array_get(candidates, i);
        if (element == nullptr) {
            Logger::Log(ERROR, "cannot get items from data array");
            return E_JSON_FAIL;
        }
        if (!is_candidate(element)) continue;
        const json_int_t metric = json_integer_value(json_object_get(element, "metric"));
        if (metric >= best) continue;
        // Lowered even by an element without a status: later ones must beat it all the same.
        best = metric;
        const json_t* status = json_object_get(element, "status");
        if (!json_is_object(status)) continue;
        info = read_interface(element, status);
        read_counters(status, stat);
    }
    return E_SUCCESS;
}

int get_gateway_info(InterfaceInfo& info, NetworkStat& stat) {
    const BusReply reply = call_service(kGatewayQuery);
    if (reply.result != E_SUCCESS) return reply.result;
    const json_t* candidates = json_object_get(reply.document.get(), "data");
    if (!json_is_array(candidates)) {
        Logger::Log(ERROR, "Data is not an array");
        return E_JSON_FAIL;
    }
    const int result = choose_gateway(candidates, info, stat);
    if (result != E_SUCCESS) return result;
    if (info.gateway_ifname.empty()) {
        Logger::Log(ERROR, "No gateway interface name found, defaulting to eth0");
        info.gateway_ifname = "eth0";
    }
    return E_SUCCESS;
}

int get_interface_rxtx_bytecount(const std::string& ifname, NetworkStat& stat) {
    // Names another operation; kept because people search the log for it.
    Logger::Log(DEBUG, "Creating bs_auto_io in upload_to_corvane");
    const JsonOwner arguments(json_pack("{s:s}", "name_interface", ifname.c_str()));
    if (arguments.get() == nullptr) return E_JSON_FAIL;
    const BusReply reply = call_service(kCounterQuery, arguments.get());
    if (reply.result != E_SUCCESS) return reply.result;
    const json_t* data = json_object_get(reply.document.get(), "data");
    if (data == nullptr) {
        Logger::Log(ERROR, "Failed to get data");
        return E_BS_FAIL;
    }

    const json_t* rx_rate = json_object_get(data, "rx_rate");
    const json_t* tx_bytes = json_object_get(data, "tx_bytes");
    const json_t* tx_rate = json_object_get(data, "tx_rate");
    const json_t* rx_bytes = json_object_get(data, "rx_bytes");
    if (rx_rate == nullptr || tx_bytes == nullptr || tx_rate == nullptr || rx_bytes == nullptr) {
        Logger::Log(ERROR, "Failed to get rx_rate, tx_bytes, tx_rate, rx_bytes");
        return E_BS_FAIL;
    }
    stat.rx_rate = json_number_value(rx_rate) / 1000.0 * 8.0;
    stat.tx_rate = json_number_value(tx_rate) / 1000.0 * 8.0;
    stat.tx_bytes = json_integer_value(tx_bytes);
    stat.rx_bytes = json_integer_value(rx_bytes);
    Logger::Log(DEBUG, "Interface: %s, RX Rate: %f, TX Rate: %f, TX Bytes: %lld, RX Bytes: %lld", ifname.c_str(),
                stat.rx_rate, stat.tx_rate, static_cast<long long>(stat.tx_bytes),
                static_cast<long long>(stat.rx_bytes));
    return E_SUCCESS;
}

}  // namespace harbex::service
