#include "corvane/cloud/precheck.h"

#include <jansson.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/json_owner.h"
#include "common/number.h"
#include "common/trace_log.h"
#include "corvane/cloud/account_token.h"
#include "corvane/cloud/org_center.h"
#include "corvane/device/failure.h"
#include "corvane/device/gateway.h"
#include "corvane/device/internet_check.h"
#include "corvane/device/nas_probe.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

const char* find_region() {
    std::string is_china;
    (void)read_setting(kIsChinaRegion, is_china);  // cannot fail: its default is not empty
    if (is_china == "true") return "CHN";
    std::string latitude = "23";
    std::string longitude = "120";
    std::string country = "GLB";
    std::string real_wan_ip;
    if (get_geo_info(latitude, longitude, country, real_wan_ip) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get latitude or longitude or country\n");
        return "NONE";
    }
    return country == "CN" ? "CHN" : "GLB";
}

void remove_identity(const std::string& status) {
    HARBEXLOG(HARBEXLOG_INFO, "BID token exists but status is '%s' (not '%s'), removing bid.conf to allow re-login\n",
              status.c_str(), kAlreadyJoined);
    if (remove(kBidConf) == 0) {
        HARBEXLOG(HARBEXLOG_INFO, "Successfully removed %s\n", kBidConf);
    } else {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to remove %s: %s\n", kBidConf, strerror(errno));
    }
}

// Whether there is a usable account identity; one without a completed join is removed.
bool judge_identity() {
    std::string token;
    if (get_cloudtoken(token) != NO_ERROR) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get vellum_token\n");
        return false;
    }
    std::string status;
    (void)read_setting(kBidTokenStatus, status);  // an unreadable marker is none
    if (status != kAlreadyJoined) {
        remove_identity(status);
        return false;
    }
    HARBEXLOG(HARBEXLOG_INFO, "Valid BID registration (status: %s)\n", status.c_str());
    if (set_corvane_bid_conf() != NO_ERROR) HARBEXLOG(HARBEXLOG_ERROR, "Failed to set corvane bid conf\n");
    return true;
}

int read_location(const std::string& output, std::string& latitude, std::string& longitude, std::string& country) {
    HARBEXLOG(HARBEXLOG_INFO, "Parsing output: %s\n", output.c_str());
    const JsonOwner root = load_json(output);
    if (!root) return ERR_CMD_FAILED;
    const json_t* result = json_object_get(root.get(), "result");
    if (!json_is_object(result)) return fail(ERR_CMD_FAILED, "Failed to get result");
    const json_t* north = json_object_get(result, "latitude");
    const json_t* east = json_object_get(result, "longitude");
    if (!json_is_number(north) || !json_is_number(east) ||
        !take_text(json_object_get(result, "country_code"), country)) {
        return fail(ERR_CMD_FAILED, "Failed to get latitude or longitude or country");
    }
    latitude = system::decimal_text(json_number_value(north));
    longitude = system::decimal_text(json_number_value(east));
    HARBEXLOG(HARBEXLOG_INFO, "latitude: %s, longitude: %s\n", latitude.c_str(), longitude.c_str());
    return NO_ERROR;
}

}  // namespace

int join_corvane_precheck(JsonValue& result) try {
    const std::string gateway = get_gateway_interface_name();
    HARBEXLOG(HARBEXLOG_INFO, "gateway_ifname: %s\n", gateway.c_str());
    const bool reaches_internet = bsh_check_access_internet(gateway) == NO_ERROR;
    if (!reaches_internet) HARBEXLOG(HARBEXLOG_ERROR, "NCSI check failed\n");
    // The region is looked up before the identity is judged: that may delete settings.
    const char* region = reaches_internet ? find_region() : "NONE";
    const bool bid_exists = reaches_internet && judge_identity();
    std::string l2tp;
    (void)read_setting(kL2tpEnable, l2tp);  // cannot fail: its default is not empty

    result["ncsi"] = reaches_internet;
    result["region"] = region;
    result["bid_exist"] = bid_exists;
    result["l2tp_status"] = l2tp == "TRUE" ? "enabled" : "disabled";
    return NO_ERROR;
} catch (...) {
    return short_of_memory(NO_ERROR);
}

int get_geo_info(std::string& latitude, std::string& longitude, std::string& country, std::string& real_wan_ip) try {
    std::string address;
    if (get_real_wan_ip(address) != NO_ERROR) return fail(ERR_CMD_FAILED, "Failed to get real wan ip");
    real_wan_ip = address;
    std::vector<std::string> argv = {"/usr/local/bin/vellum_cli", "-g"};
    if (!address.empty()) argv.push_back(address);
    std::string output;
    const int ran = system::do_exec_safe(argv, output);
    HARBEXLOG(HARBEXLOG_INFO, "ret %d, output: %s\n", ran, output.c_str());
    if (ran != 0) return ERR_CMD_FAILED;
    return read_location(output, latitude, longitude, country);
} catch (...) {
    return short_of_memory(ERR_CMD_FAILED);
}

}  // namespace harbex::corvane
