#include "corvane/cloud/registration.h"

#include <jansson.h>

#include <utility>

#include "common/error_code.h"
#include "common/http.h"
#include "common/json_owner.h"
#include "common/subnet.h"
#include "common/trace_log.h"
#include "corvane/cloud/account_token.h"
#include "corvane/cloud/edge_login.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/cloud/subnet_check.h"
#include "corvane/device/agent_configuration.h"
#include "corvane/device/failure.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

constexpr const char* kAutoRegion = "auto";
constexpr const char* kSupernodeRegion = "supn";

// A plain GET with the two header lines that the device requests share.
int get_document(const std::string& path, const std::string& authorization, std::string& reply) {
    const system::RestRequest request{
        .method = system::HttpMethod::kGet,
        .url = get_corvane_api_url(path),
        .headers = {"accept: application/json", "Authorization: " + authorization},
        .body = {},
    };
    system::RestTransfer transfer;
    if (transfer.honour_insecure_switch() != NO_ERROR) HARBEXLOG(HARBEXLOG_WARN, "Failed to set insecure curl\n");
    return transfer.send(request, reply);
}

// Stores the address that the cloud offers, or its replacement when the offered one lies in a network of this NAS.
int store_virtual_ip(const json_t* offered, std::string& virtual_ip) {
    if (!take_text(offered, virtual_ip))
        return fail(ERR_WRONG_JSON_FORMAT, "[parse_api_edge] virtual_ip_json is not a string");
    HARBEXLOG(HARBEXLOG_INFO, "[parse_api_edge] Virtual IP from edge API: %s\n", virtual_ip.c_str());
    // A manager that cannot judge counts as no clash.
    if (system::is_network_intersect(virtual_ip.c_str(), system::kHostMask) == ERR_IP_POOL_CONFLICT) {
        HARBEXLOG(HARBEXLOG_INFO, "[parse_api_edge] Checking virtual IP subnet conflicts\n");
        if (const int checked = corvane_api_ip_subnet_check(virtual_ip); checked != NO_ERROR) {
            HARBEXLOG(HARBEXLOG_ERROR, "[parse_api_edge] Failed to check IP subnet: %d\n", checked);
        }
    } else {
        HARBEXLOG(HARBEXLOG_INFO, "[parse_api_edge] Virtual IP is not in any subnet\n");
    }
    return set_virtual_ip(virtual_ip) == NO_ERROR ? NO_ERROR
                                                  : fail(ERR_CMD_FAILED, "[parse_api_edge] Failed to set virtual ip");
}

void log_root(const json_t* root) {
    HARBEXLOG(HARBEXLOG_INFO, "root is %d %s\n", static_cast<int>(json_typeof(root)),
              json_dump_text(root, JSON_COMPACT).c_str());
}

// The id of the first group with hubs, "" for none.
std::string first_group_with_hubs(const json_t* groups) {
    size_t index = 0;
    json_t* group = nullptr;
    json_array_foreach(groups, index, group) {
        if (json_array_size(json_object_get(group, "hubs")) == 0) continue;
        const char* id = json_string_value(json_object_get(group, "groupId"));
        if (id == nullptr) id = "";
        HARBEXLOG(HARBEXLOG_INFO, "[resolve_auto_region] Hub found in group %s, resolving to hub\n", id);
        return id;
    }
    return {};
}

struct Enrolment {
    std::string device_id;
    std::string corvane_token;
    std::string serial_number;
};

int log_in(Enrolment& enrolment) {
    std::string vellum_token;
    if (get_cloudtoken(vellum_token) != NO_ERROR)
        return fail(ERR_CORVANE_GETCLOUDTOKEN, "Failed to obtain vellumToken");
    HARBEXLOG(HARBEXLOG_INFO, "call corvane api edge\n");
    std::string edge_reply;
    if (corvane_api_edge(vellum_token, edge_reply) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to call corvane api edge: %s\n", edge_reply.c_str());
        return ERR_CORVANEAPI_EDGE;
    }
    HARBEXLOG(HARBEXLOG_INFO, "parse corvane api edge response\n");
    if (parse_api_edge(edge_reply, enrolment.device_id, enrolment.corvane_token, enrolment.serial_number) !=
        NO_ERROR) {
        return fail(ERR_CORVANEAPI_EDGE, "Failed to parse corvane api edge response");
    }
    // The parser stored it already; kept, because the code it gives is part of the flow's contract.
    return set_serial_number(enrolment.serial_number) == NO_ERROR
               ? NO_ERROR
               : fail(ERR_SAVE_CONFIG, "Failed to set serial number");
}

int choose_region(const Enrolment& enrolment) {
    HARBEXLOG(HARBEXLOG_INFO, "corvane api vpn_groups\n");
    std::string groups_reply;
    if (corvane_api_vpn_groups(enrolment.corvane_token, groups_reply) != NO_ERROR) {
        return fail(ERR_CORVANEAPI_VPN_GROUPS, "Failed to call corvane_api_vpn_groups");
    }
    if (resolve_auto_region(groups_reply) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_WARN, "Failed to resolve auto region, continuing\n");
    }
    return NO_ERROR;
}

int configure_agent(const Enrolment& enrolment) {
    HARBEXLOG(HARBEXLOG_INFO, "corvane api devices (register device on corvane)\n");
    if (corvane_api_devices(enrolment.device_id, enrolment.corvane_token) != NO_ERROR) {
        return fail(ERR_CORVANEAPI_DEVICES, "Failed to call corvane api devices");
    }
    HARBEXLOG(HARBEXLOG_INFO, "parse corvane api devices response\n");
    std::string configuration;
    if (corvane_api_devices_cloudagent_cfg(enrolment.device_id, enrolment.corvane_token, configuration) != NO_ERROR) {
        return fail(ERR_CORVANEAPI_DEVICES, "Failed to parse corvane api devices response");
    }
    HARBEXLOG(HARBEXLOG_INFO, "write corvane api devices response to cloudagent.cfg\n");
    if (write_corvane_api_devices_cloudagent_cfg(configuration) != NO_ERROR) {
        return fail(ERR_CORVANEAPI_DEVICES, "Failed to write corvane api devices response to cloudagent.cfg");
    }
    std::string device_token;  // only whether there is one counts
    return get_device_token(device_token) == NO_ERROR
               ? NO_ERROR
               : fail(ERR_CORVANE_GETDEVICE_TOKEN, "Failed to get corvane device token");
}

}  // namespace

int device_register(JsonValue& result) try {
    Enrolment enrolment;
    if (const int code = log_in(enrolment); code != NO_ERROR) return code;
    if (const int code = choose_region(enrolment); code != NO_ERROR) return code;
    if (const int code = configure_agent(enrolment); code != NO_ERROR) return code;
    result["deviceId"] = enrolment.device_id;
    result["corvaneToken"] = enrolment.corvane_token;
    const int marked = write_setting(kBidTokenStatus, kAlreadyJoined);
    if (marked == NO_ERROR) {
        HARBEXLOG(HARBEXLOG_INFO, "Successfully set bid_token_status to '%s'\n", kAlreadyJoined);
    } else {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to set bid_token_status to '%s'\n", kAlreadyJoined);
    }
    return marked;
} catch (...) {
    return short_of_memory();
}

int parse_api_edge(const std::string& reply, std::string& device_id, std::string& corvane_token,
                   std::string& serial_number) try {
    HARBEXLOG(HARBEXLOG_INFO, "[parse_api_edge] start\n");
    const JsonOwner root = load_json(reply);
    if (!json_is_object(root.get())) return fail(ERR_WRONG_JSON_FORMAT, "Failed to parse JSON response");
    log_root(root.get());
    std::string virtual_ip;
    if (const int stored = store_virtual_ip(json_object_get(root.get(), "virtualIP"), virtual_ip); stored != NO_ERROR)
        return stored;

    std::string id;
    std::string token;
    const json_t* serial = json_object_get(root.get(), "serialNumber");
    if (!take_text(json_object_get(root.get(), "deviceId"), id) ||
        !take_text(json_object_get(root.get(), "corvaneToken"), token) || !json_is_integer(serial)) {
        return fail(ERR_WRONG_JSON_FORMAT, "[parse_api_edge] deviceId or corvaneToken is not a string");
    }
    HARBEXLOG(HARBEXLOG_INFO, "[parse_api_edge] deviceId_json and corvaneToken_json are strings\n");
    device_id = std::move(id);
    corvane_token = std::move(token);
    serial_number = std::to_string(json_integer_value(serial));
    if (set_serial_number(serial_number) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to set serial number");
    HARBEXLOG(HARBEXLOG_INFO,
              "[parse_api_edge] Device ID: %s, Corvane Token: %s, Serial Number: %s, Virtual IP: %s\n",
              device_id.c_str(), corvane_token.c_str(), serial_number.c_str(), virtual_ip.c_str());
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

int resolve_auto_region(const std::string& groups_reply) try {
    std::string region;
    if (get_region_id(region) != NO_ERROR || region != kAutoRegion) return NO_ERROR;
    json_error_t error{};
    const JsonOwner root = load_json(groups_reply, &error);
    if (!json_is_object(root.get())) {
        HARBEXLOG(HARBEXLOG_ERROR, "[resolve_auto_region] Failed to parse JSON: %s\n", error.text);
        return ERR_WRONG_JSON_FORMAT;
    }
    const json_t* groups = json_object_get(json_object_get(root.get(), "data"), "vpnGroups");
    if (!json_is_array(groups)) {
        return fail(ERR_WRONG_JSON_FORMAT, "[resolve_auto_region] vpnGroups not found or not array");
    }
    region = first_group_with_hubs(groups);
    if (region.empty()) {
        region = kSupernodeRegion;
        HARBEXLOG(HARBEXLOG_INFO, "[resolve_auto_region] No hub found, resolving to supernode\n");
    }
    return write_setting(kRegionId, region, "[resolve_auto_region] Failed to set region id");
} catch (...) {
    return short_of_memory();
}

int corvane_api_vpn_groups(const std::string& corvane_token, std::string& reply) try {
    const int result = get_document("/corvane/bthings/api/v1/vpn_topology", "Buser " + corvane_token, reply);
    if (result == NO_ERROR) HARBEXLOG(HARBEXLOG_INFO, "reply_vpn_groups: %s\n", reply.c_str());
    return result;
} catch (...) {
    return short_of_memory();
}

int corvane_api_devices(const std::string& device_id, const std::string& corvane_token) try {
    std::string dropped;
    return get_document("/cvnms/bthings/api/v1/devices/" + device_id, corvane_token, dropped);
} catch (...) {
    return short_of_memory();
}

int corvane_api_devices_cloudagent_cfg(std::string device_id, const std::string& corvane_token,
                                       std::string& reply) try {
    return get_document("/cvnms/bthings/api/v1/devices/" + device_id + "/cloudagent_cfg?format=json", corvane_token,
                        reply);
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane
