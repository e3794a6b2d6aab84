#include "corvane/device/gateway.h"

#include <jansson.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/error_code.h"
#include "common/file_descriptor.h"
#include "common/service_names.h"
#include "common/trace_log.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr BusQuery kGatewayQuery{
    .service = system::kNetworkManager,
    .method = "api.get_currentGWinfo",
    .unparsable = "Failed to parse JSON",
};

std::string text_or_log(const json_t* value, const char* complaint) {
    std::string text;
    if (!take_text(value, text)) HARBEXLOG(HARBEXLOG_ERROR, "%s\n", complaint);
    return text;
}

// The first gateway of a reply; null, and logged, when there is none.
const json_t* first_gateway(const json_t* reply) {
    const json_t* data = json_object_get(reply, "data");
    if (!json_is_array(data)) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get data\n");
        return nullptr;
    }
    const json_t* first = json_array_get(data, 0);
    if (first == nullptr) HARBEXLOG(HARBEXLOG_ERROR, "Failed to get first item\n");
    return first;
}

}  // namespace

std::string get_ethernet_loc(const std::string& physical_loc) try {
    constexpr std::string_view kDigits = "0123456789";
    const size_t last = physical_loc.find_last_of(kDigits);
    if (last == std::string::npos) return physical_loc;
    const size_t before = physical_loc.find_last_not_of(kDigits, last);
    const size_t first = before == std::string::npos ? 0 : before + 1;
    return physical_loc.substr(first, last - first + 1);
} catch (...) {
    return short_of_memory(std::string());
}

int get_eth0_mac(std::string& mac) try {
    const system::FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.is_open()) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to create socket\n");
        return ERR_CMD_FAILED;
    }
    ifreq request{};
    strncpy(request.ifr_name, "eth0", IFNAMSIZ - 1);
    if (ioctl(socket.get(), SIOCGIFHWADDR, &request) != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get MAC address\n");
        return ERR_CMD_FAILED;
    }
    unsigned char bytes[6];
    memcpy(bytes, request.ifr_hwaddr.sa_data, sizeof bytes);
    char text[18] = "";
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
             bytes[5]);
    HARBEXLOG(HARBEXLOG_INFO, "eth0_mac: %s\n", text);
    mac = text;
    return NO_ERROR;
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

int maskToCIDR(const std::string& mask) {
    int bits = 0;
    for (size_t start = 0; start <= mask.size();) {
        const size_t end = std::min(mask.find('.', start), mask.size());
        const long long piece = std::strtoll(mask.c_str() + start, nullptr, 10);
        bits += std::popcount(static_cast<uint8_t>(piece));
        start = end + 1;
    }
    return bits;
}

std::string get_gateway_ip() try {
    const BusAnswer answer = query_service(kGatewayQuery);
    if (!answer.document) return {};
    const json_t* gateway = first_gateway(answer.document.get());
    if (gateway == nullptr) return {};
    const json_t* addresses = json_object_get(json_object_get(gateway, "status"), "IPv4");
    return text_or_log(json_object_get(json_array_get(addresses, 0), "ip"), "Failed to get ip");
} catch (...) {
    return short_of_memory(std::string());
}

std::string get_gateway_interface_name() try {
    const BusAnswer answer = query_service(kGatewayQuery);
    if (!answer.document) return {};
    const json_t* gateway = first_gateway(answer.document.get());
    if (gateway == nullptr) return {};
    return text_or_log(json_object_get(gateway, "ifname"), "Failed to get interface_name");
} catch (...) {
    return short_of_memory(std::string());
}

std::string get_gateway_display_name() try {
    const BusAnswer answer = query_service(kGatewayQuery);
    if (!answer.document) return {};
    const json_t* gateway = json_array_get(json_object_get(answer.document.get(), "data"), 0);
    return text_or_log(json_object_get(json_object_get(gateway, "status"), "display_name"),
                       "Failed to get display_name");
} catch (...) {
    return short_of_memory(std::string());
}

int set_corvane_express_cfg() {
    if (write_setting(kRouterTable, "30000", "Failed to set router_region_table_id") != NO_ERROR)
        return ERR_CMD_FAILED;
    if (write_setting(kSupernodeTable, "31000", "Failed to set supernode_region_table_id") != NO_ERROR)
        return ERR_CMD_FAILED;
    HARBEXLOG(HARBEXLOG_INFO, "set_corvane_express_cfg done\n");
    return NO_ERROR;
}

}  // namespace harbex::corvane
