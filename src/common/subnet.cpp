#include "common/subnet.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <jansson.h>
#include <netdb.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "common/bus_exchange.h"
#include "common/error_code.h"
#include "common/releaser.h"
#include "common/service_names.h"
#include "common/trace_statement.h"

namespace harbex::system {
namespace {

constexpr int kTimeout_s = 60;
constexpr size_t kNumericHostSize = 1025;  // NI_MAXHOST, which strict headers hide

in_addr ipv4_of(const sockaddr* address) {
    sockaddr_in ip{};
    memcpy(&ip, address, sizeof ip);
    return ip.sin_addr;
}

std::string dotted(const in_addr& address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

bool is_counted(const ifaddrs& interface) {
    return std::string_view(interface.ifa_name) != "lo" && interface.ifa_addr != nullptr &&
           interface.ifa_addr->sa_family == AF_INET;
}

}  // namespace

in_addr calculate_net(const in_addr& ip, const in_addr& mask) {
    return {ip.s_addr & mask.s_addr};
}

in_addr calculate_broadcast(const in_addr& ip, const in_addr& mask) {
    return {ip.s_addr | ~mask.s_addr};
}

int is_intersect(const in_addr& ip1, const in_addr& mask1, const in_addr& ip2, const in_addr& mask2) {
    const auto first = [](const in_addr& ip, const in_addr& mask) { return ntohl(calculate_net(ip, mask).s_addr); };
    const auto last = [](const in_addr& ip, const in_addr& mask) {
        return ntohl(calculate_broadcast(ip, mask).s_addr);
    };
    return first(ip1, mask1) <= last(ip2, mask2) && last(ip1, mask1) >= first(ip2, mask2) ? 1 : 0;
}

int is_network_intersect(const char* ip, const char* mask) {
    BusExchange exchange;
    // The uneven blanks are the manager's protocol as it stands.
    const bool written = exchange.write(nullptr) &&
                         bs_io_printf(exchange.stream(), "{\"ip\":\"%s\", \"mask\": \"%s\"}", ip, mask) >= 0;
    if (!written || !exchange.call(kNetworkManager, "api.check_network_intersect", kTimeout_s)) {
        HARBEXLOG(HARBEXLOG_ERROR,
                  "%s: NetworkService.api.check_network_intersect, ip: %s, mask: %s, bs_call failed ret:%d\n",
                  __func__, ip, mask, exchange.code());
        return ERR_BS_CALL_FAILED;
    }
    if (!exchange.read() || !exchange.parse()) {
        HARBEXLOG(HARBEXLOG_ERROR,
                  "%s: NetworkService.api.check_network_intersect, ip: %s, mask: %s, failed to parse json.\n",
                  __func__, ip, mask);
        return ERR_BS_CALL_FAILED;
    }
    const JsonOwner reply = exchange.take_document();
    const json_int_t error = json_integer_value(json_object_get(reply.get(), "error"));
    if (error == 0) return NO_ERROR;
    if (error == 1) {
        HARBEXLOG(HARBEXLOG_ERROR,
                  "%s: NetworkService.api.check_network_intersect, ip: %s, mask: %s, ip pool conflict with Tessel "
                  "network.\n",
                  __func__, ip, mask);
        return ERR_IP_POOL_CONFLICT;
    }
    const char* data = json_string_value(json_object_get(reply.get(), "data"));
    HARBEXLOG(HARBEXLOG_ERROR,
              "%s: NetworkService.api.check_network_intersect, ip: %s, mask: %s, bs_call failed ret:%d, data: %s.\n",
              __func__, ip, mask, static_cast<int>(error), data == nullptr ? "" : data);
    return ERR_BS_API_RET_ERROR;
}

int netmask_to_prefix(const in_addr& mask, int& prefix) {
    const uint32_t bits = ntohl(mask.s_addr);
    const int ones = std::countl_one(bits);
    if (ones != std::popcount(bits)) {
        HARBEXLOG(HARBEXLOG_ERROR, "Invalid netmask: 0x%08x (non-consecutive bits)\n", bits);
        return 1;
    }
    prefix = ones;
    return 0;
}

int collect_all_interface_subnet(std::vector<std::string>& subnets) try {
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get network interfaces: %s\n", strerror(errno));
        return ERR_CMD_FAILED;
    }
    const std::unique_ptr<ifaddrs, Releaser<freeifaddrs>> list(interfaces);
    for (const ifaddrs* interface = interfaces; interface != nullptr; interface = interface->ifa_next) {
        if (!is_counted(*interface)) continue;
        // The text itself is not needed: an address that has none counts for nothing.
        char host[kNumericHostSize] = "";
        const int result =
            getnameinfo(interface->ifa_addr, sizeof(sockaddr_in), host, sizeof host, nullptr, 0, NI_NUMERICHOST);
        if (result != 0) {
            HARBEXLOG(HARBEXLOG_WARN, "getnameinfo() failed for %s: %s\n", interface->ifa_name, gai_strerror(result));
            continue;
        }
        if (interface->ifa_netmask == nullptr) {
            HARBEXLOG(HARBEXLOG_WARN, "Interface %s has no netmask, skipping\n", interface->ifa_name);
            continue;
        }
        const in_addr mask = ipv4_of(interface->ifa_netmask);
        int prefix = 0;
        if (netmask_to_prefix(mask, prefix) != 0) {
            HARBEXLOG(HARBEXLOG_WARN, "Invalid netmask for %s, skipping\n", interface->ifa_name);
            continue;
        }
        const in_addr net = calculate_net(ipv4_of(interface->ifa_addr), mask);
        subnets.push_back(dotted(net) + "/" + std::to_string(prefix));
        HARBEXLOG(HARBEXLOG_INFO, "Found subnet on interface %s: %s\n", interface->ifa_name, subnets.back().c_str());
    }
    HARBEXLOG(HARBEXLOG_INFO, "Collected %zu subnets from network interfaces\n", subnets.size());
    return NO_ERROR;
} catch (const std::bad_alloc&) {
    return ERR_CMD_FAILED;
}

}  // namespace harbex::system
