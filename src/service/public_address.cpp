#include "service/public_address.h"

#include <jansson.h>

#include <string>

#include "common/json_owner.h"
#include "common/number.h"
#include "common/service_names.h"
#include "corvane/device/settings.h"
#include "service/bus_client.h"
#include "service/gateway_info.h"
#include "service/logger.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr BusCall kGeoQuery{
    .service = system::kEdgeDaemon,
    .method = "GetGeoInfo",
    .timeout_s = 60,
    .announcement = "bsh API: corvane_expressd.GetGeoInfo",
    .call_failed = "Failed to execute corvane_expressd.GetGeoInfo",
};

struct GeoInfo {
    std::string latitude;
    std::string longitude;
    std::string real_wan_ip;
};

bool take_number(const json_t* data, const char* key, const char* complaint, std::string& text) {
    const json_t* number = json_object_get(data, key);
    if (!json_is_number(number)) {
        Logger::Log(ERROR, "%s", complaint);
        return false;
    }
    text = system::decimal_text(json_number_value(number));
    return true;
}

bool take_members(const json_t* data, GeoInfo& info) {
    bool complete = take_number(data, "latitude", "Failed to get latitude", info.latitude);
    complete = take_number(data, "longitude", "Failed to get longitude", info.longitude) && complete;
    if (const char* text = json_string_value(json_object_get(data, "public_ip"))) {
        info.real_wan_ip = text;
    } else {
        Logger::Log(ERROR, "Failed to get real_wan_ip");
        complete = false;
    }
    if (info.latitude.empty() || info.longitude.empty() || info.real_wan_ip.empty()) {
        Logger::Log(ERROR, "Failed to get latitude or longitude or real_wan_ip");
        complete = false;
    }
    return complete;
}

// Asks the edge daemon where this NAS is; keeps what can be had. True: all of it.
bool get_geo_info(GeoInfo& info) {
    Logger::Log(DEBUG, "Creating bs_auto_io in get_geo_info");
    const BusReply reply = call_service(kGeoQuery);
    if (reply.result != E_SUCCESS) return false;
    const json_t* data = json_object_get(reply.document.get(), "data");
    if (data == nullptr) {
        Logger::Log(ERROR, "Failed to get data");
        return false;
    }
    return take_members(data, info);
}

// The status values and their words are constants of the record, not measurements.
json_t* build_record(const InterfaceInfo& info, const NetworkStat& stat, const GeoInfo& geo,
                     const std::string& virtual_ip, const std::string& region_id) {
    const int iface_stat = info.link_running ? 0 : 1;
    const std::string type = info.interface_type == "vswitch" ? "bridge" : info.interface_type;
    return json_pack(
        "{s:{s:s, s:i, s:i, s:s, s:s, s:s, s:s, s:s, s:i, s:s, s:i, s:s, s:i, s:s, s:s, s:s,"
        " s:s, s:s, s:s, s:s, s:i, s:i, s:s, s:i, s:s, s:i, s:s, s:s, s:s, s:s, s:s}}",
        "PORT1",                                                //
        "GROUP_ID", region_id.c_str(),                          //
        "ID", 1,                                                //
        "IFACE_STAT", iface_stat,                               //
        "IFACE_STAT_DESC", "Iface has a normal status.",        //
        "IFACE_TYPE", type.c_str(),                             //
        "IFNAME", info.gateway_ifname.c_str(),                  //
        "LATITUDE", geo.latitude.c_str(),                       //
        "LONGITUDE", geo.longitude.c_str(),                     //
        "NCSI_STAT", 0,                                         //
        "NCSI_STAT_DESC", "NCSI query successfully.",           //
        "NH_STAT", 0,                                           //
        "NH_STAT_DESC", "Default gateway is normal.",           //
        "PORT_STAT", iface_stat,                                //
        "PORT_STAT_DESC", "Iface has a normal status.",         //
        "REAL_WAN_ADDR4", geo.real_wan_ip.c_str(),              //
        "ROLE", "EDGE",                                         //
        "RX_RATE", system::decimal_text(stat.rx_rate).c_str(),  //
        "TUN_ADDR4", virtual_ip.c_str(),                        //
        "TUN_ADDR6", "",                                        //
        "TX_RATE", system::decimal_text(stat.tx_rate).c_str(),  //
        "VLAN_ID", info.vlan_id,                                //
        "VPN_TO_EDGES_STAT", 3,                                 //
        "VPN_TO_EDGES_STAT_DESC", "No member.",                 //
        "VPN_TO_HUBS_STAT", 0,                                  //
        "VPN_TO_HUBS_STAT_DESC", "All Connected.",              //
        "WANIPD_STAT", 0,                                       //
        "WANIPD_STAT_DESC", "WAN IP query successfully.",       //
        "WAN_ADDR4", info.ip4_address.c_str(),                  //
        "WAN_ADDR6", "",                                        //
        "WAN_PREFIX4", info.ip4_mask.c_str(),                   //
        "WAN_PREFIX6", "128");
}

}  // namespace

int Get_public_ip(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_public_ip");
    InterfaceInfo info;
    NetworkStat stat;
    if (const int result = get_gateway_info(info, stat); result != E_SUCCESS) {
        Logger::Log(ERROR, "Failed to get gateway ifname");
        return send_error_response(io, result, "");
    }
    Logger::Log(DEBUG, "gateway_ifname: %s", info.gateway_ifname.c_str());

    std::string virtual_ip;
    if (corvane::read_setting(corvane::kVirtualIp, virtual_ip) != 0 || virtual_ip.empty()) {
        Logger::Log(ERROR, "Failed to get virtual_ip");
        return send_error_response(io, E_GET_CFG_FAIL, "Failed to get virtual_ip");
    }
    Logger::Log(DEBUG, "virtual_ip: %s", virtual_ip.c_str());
    Logger::Log(DEBUG, "ncsi_result: %d", 0);  // no reachability test is made

    GeoInfo geo;
    if (!get_geo_info(geo)) Logger::Log(ERROR, "Failed to get geo info");
    Logger::Log(DEBUG, "real_wan_ip: %s", geo.real_wan_ip.c_str());
    Logger::Log(DEBUG, "Getting LAN IP for interface: %s, lan ip: %s", info.gateway_ifname.c_str(),
                info.ip4_address.c_str());

    if (get_interface_rxtx_bytecount(info.gateway_ifname, stat) != E_SUCCESS) Logger::Log(ERROR, "Failed to get ");
    std::string region_id;
    if (corvane::get_region_id(region_id) != 0) {
        Logger::Log(ERROR, "Cannot get region ID");
        region_id.clear();
    }
    return send_success_response(io, build_record(info, stat, geo, virtual_ip, region_id));
}

}  // namespace harbex::service
