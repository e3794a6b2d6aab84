// The local edge daemon seen from this library, whether this NAS is enrolled, the internet check, and the feature
// tour. Every daemon call blocks for up to 60 s.
#pragma once

#include <jansson.h>

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// The cloud agent's device token, its quotes stripped. NO_ERROR, or ERR_CMD_FAILED with `token` untouched.
[[nodiscard]] int get_bdevice_token(std::string& token);

// The daemon's cloud status number, passed on as it is. The second form gives 0 on any failure, the first tells it
// apart: NO_ERROR, or ERR_CMD_FAILED with `status` untouched.
[[nodiscard]] int get_cloud_status(int& status);
int bsh_get_cloud_status();

// Names and public addresses of hub and super node; what the daemon does not know leaves its text untouched. NO_ERROR
// or ERR_CMD_FAILED.
[[nodiscard]] int bsh_get_hubinfo(std::string& router_name, std::string& router_ip, std::string& supernode_name,
                                  std::string& supernode_ip);

// The tunnels to hub and super node, each counted as ipsec_connetion_status_statistic does. NO_ERROR, or
// ERR_CMD_FAILED with both untouched.
[[nodiscard]] int bsh_get_ipsec_status(int& router_status, int& supernode_status);

// 0: none of the object's tunnels is connected (or it has none), 1: all are, 2: some are.
int ipsec_connetion_status_statistic(json_t* object);

// Sets out["is_on_corvane"] to 1 when the cloud agent has its configuration, else to 0. Returns what get_install_path
// returns; when that fails the member is not set.
[[nodiscard]] int check_device(JsonValue& out);

// Whether the internet is reached through `ifname`, asked again each second for as long as the check is running, ten
// times at most: blocks for about 10 s and ten calls; never call it on a thread that serves the bus. NO_ERROR
// reachable, ERR_BS_API_RET_ERROR not reachable or still running at the end, ERR_WRONG_JSON_FORMAT, ERR_BS_IO_FAILED
// no stream or no reply, ERR_CMD_FAILED.
[[nodiscard]] int bsh_check_access_internet(const std::string& ifname);

// Sets out["feature_intro"] and out["feature_tip"], true unless stored as anything but "true". Always NO_ERROR.
int feature_tour_show(JsonValue& out);
// Stores both as given; null is "". NO_ERROR, ERR_UNKNOWN_OPTION for a rejected value, ERR_NO_TYPE when they cannot
// be stored.
[[nodiscard]] int feature_tour_set(const char* intro, const char* tip);

}  // namespace harbex::corvane
