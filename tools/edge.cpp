// What runs on this NAS once it has joined: its address, the super node.
#include <arpa/inet.h>
#include <netinet/in.h>

#include "commands.h"
#include "common/error_code.h"
#include "common/service_names.h"
#include "common/subnet.h"
#include "corvane/cloud/supernode_usage.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/supernode.h"
#include "failure_cause.h"
#include "read_input.h"

namespace harbex::tools {
namespace {

constexpr corvane::BusQuery kHaltSupernode{
    .service = system::kNetworkService, .method = "Supernode_halt", .check_envelope = true};

constexpr const char* kAnotherAddress = "give another address";

// Why no device can have the address; null when one can. That it lies in a network of this NAS the network manager
// tells.
const char* objection_to(in_addr address) {
    const uint32_t number = ntohl(address.s_addr);
    constexpr uint32_t kFirstByte = 24;
    if (number >> kFirstByte == 0) return "is unspecified";
    if (number == INADDR_BROADCAST) return "is the broadcast address";
    if (number >> kFirstByte == IN_LOOPBACKNET) return "is a loopback address";
    if (IN_MULTICAST(number)) return "is a multicast address";
    if (IN_BADCLASS(number)) return "is reserved";
    return nullptr;
}

Outcome refused(int code, const std::string& sentence) {
    return {code, Cause{.ending = Ending::kFailed, .sentence = sentence, .remedy = kAnotherAddress}};
}

}  // namespace

Outcome virtual_ip_set(Call& call) {
    const std::string& text = call.arguments[0];
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1)
        return refused(ERR_CMD_FAILED, "'" + text + "' is no IPv4 address.");
    if (const char* const objection = objection_to(address))
        return refused(ERR_WRONG_VIRTUAL_IP, text + " " + objection + ".");
    if (Outcome without = check_service(system::kNetworkManager, ERR_CMD_FAILED); without.code != NO_ERROR)
        return without;
    // Before the edge daemon is looked for: an address that cannot be is refused whatever runs.
    if (system::is_network_intersect(text.c_str(), system::kHostMask) == ERR_IP_POOL_CONFLICT)
        return {ERR_WRONG_VIRTUAL_IP, Cause{.remedy = kAnotherAddress}};
    if (Outcome without = check_service(system::kEdgeDaemon, ERR_CMD_FAILED); without.code != NO_ERROR)
        return without;
    return corvane::modify_virtual_ip(text);
}

Outcome supernode_halt(Call&) {
    return corvane::query_service(kHaltSupernode).stopped_at == corvane::BusStep::kDone ? NO_ERROR
                                                                                        : ERR_BS_API_RET_ERROR;
}

Outcome supernode_usage(Call& call) {
    return corvane::bsh_get_supernode_remaining(call.data);
}

Outcome supernode_devices(Call& call) {
    return corvane::bsh_get_supernode_devices(call.data);
}

Outcome supernode_traffic(Call& call) {
    return corvane::bsh_supernode_recent_billing_daily_traffic(call.data);
}

Outcome supernode_apply(Call& call) {
    std::string record;
    std::string why;
    if (const int result = read_input(call.arguments[0], record, why); result != NO_ERROR)
        return {result, Cause{.ending = Ending::kLocalFile, .sentence = why}};
    return corvane::parse_supernode(record);
}

}  // namespace harbex::tools
