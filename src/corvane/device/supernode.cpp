#include "corvane/device/supernode.h"

#include <fcntl.h>
#include <jansson.h>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/output_file.h"
#include "common/service_names.h"
#include "common/subnet.h"
#include "common/trace_log.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"
#include "eventlog/nc_msg_db.h"

namespace harbex::corvane {
namespace {

constexpr const char* kRunTimeFile = "/var/run/cms_config/supernode.json";
constexpr size_t kVirtualIpChanged = 43;  // row of the notification catalogue

// In the order of the file.
constexpr const char* kMembers[] = {"superNodeId",  "remoteIP",        "remoteTunnelIP",
                                    "remoteSubnet", "remotePublicKey", "localTunnelIP"};

constexpr BusQuery kUpdateInterfaces{.service = system::kEdgeDaemon, .method = "UpdateNetworkInterfaces"};
constexpr BusQuery kResetInterface{.service = system::kEdgeDaemon, .method = "ResetVirtualInterface"};

// The values go in as received, unescaped: that is what the tunnel set-up parses.
std::string layout(const json_t* data) {
    std::string text = "{\n";
    for (const char* member : kMembers) {
        if (member != kMembers[0]) text += ",\n";
        text.append("    \"").append(member).append("\": \"");
        text.append(json_string_value(json_object_get(data, member))).append("\"");
    }
    return text + "\n}";
}

int write_run_time_file(const std::string& text) {
    // The messages name the file's former name; kept for those who search the logs.
    system::OutputFile file(kRunTimeFile, O_TRUNC);
    if (!file) return fail(ERR_SAVE_FILE, "Failed to open supernode.conf file");
    file << text << std::flush;
    return file ? NO_ERROR : fail(ERR_SAVE_FILE, "Failed to write to supernode.conf file");
}

}  // namespace

int parse_supernode(const std::string& json_text) try {
    const JsonOwner root = parse_or_log(json_text, "JSON parse error");
    if (!root) return ERR_WRONG_JSON_FORMAT;
    const json_t* data = json_object_get(root.get(), "data");
    if (!json_is_object(data)) return fail(ERR_WRONG_JSON_FORMAT, "Expected data object");
    for (const char* member : kMembers) {
        if (!json_is_string(json_object_get(data, member))) {
            return fail(ERR_WRONG_JSON_FORMAT, "Missing or invalid required fields");
        }
    }
    const auto text = [data](const char* member) { return json_string_value(json_object_get(data, member)); };
    // No line end of its own: the next line follows on.
    HARBEXLOG(
        HARBEXLOG_INFO, "SuperNodeId: %s, RemoteIP: %s, RemoteTunnelIP: %s, RemoteSubnet: %s, LocalTunnelIP: %s",
        text("superNodeId"), text("remoteIP"), text("remoteTunnelIP"), text("remoteSubnet"), text("localTunnelIP"));
    const int result = write_run_time_file(layout(data));
    if (result == NO_ERROR) HARBEXLOG(HARBEXLOG_INFO, "SuperNode configuration processed successfully\n");
    return result;
} catch (...) {
    return short_of_memory();
}

int modify_virtual_ip(const std::string& new_ip) {
    const int intersect = system::is_network_intersect(new_ip.c_str(), system::kHostMask);
    if (intersect == ERR_IP_POOL_CONFLICT) {
        HARBEXLOG(HARBEXLOG_ERROR, "Virtual ip %s is in network intersect\n", new_ip.c_str());
        return ERR_WRONG_VIRTUAL_IP;
    }
    if (intersect != NO_ERROR) return ERR_CMD_FAILED;  // unjudged addresses are not stored
    std::string old_ip;
    if (get_virtual_ip(old_ip) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get virtual ip");
    if (set_virtual_ip(new_ip) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to set virtual ip");
    for (const BusQuery& step : {kUpdateInterfaces, kResetInterface}) {
        if (!notify_service(step)) return ERR_CMD_FAILED;
    }
    nclog::notify_send(&__NC_MSG_DB__[kVirtualIpChanged], old_ip.c_str(), new_ip.c_str(),
                       static_cast<const char*>(nullptr));
    return NO_ERROR;
}

}  // namespace harbex::corvane
