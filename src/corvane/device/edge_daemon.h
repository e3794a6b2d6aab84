// The local edge daemon seen from this library. Every call of it blocks for up to 60 s. Published, with what stands
// in the headers of this folder included here; get_cloud_status is the library's own.
#pragma once

#include <jansson.h>

#include <string>

#include "corvane/device/enrolment.h"
#include "corvane/device/feature_tour.h"
#include "corvane/device/internet_check.h"

namespace harbex::corvane {

// The daemon's cloud status number, passed on as it is; 0 on any failure.
int bsh_get_cloud_status();
// The same number, failure told apart: NO_ERROR, or ERR_CMD_FAILED with `status` untouched.
[[nodiscard]] int get_cloud_status(int& status);

// Names and public addresses of hub and super node; what the daemon does not know leaves its text untouched. NO_ERROR
// or ERR_CMD_FAILED.
[[nodiscard]] int bsh_get_hubinfo(std::string& router_name, std::string& router_ip, std::string& supernode_name,
                                  std::string& supernode_ip);

// The tunnels to hub and super node, each counted as ipsec_connetion_status_statistic does. NO_ERROR, or
// ERR_CMD_FAILED with both untouched.
[[nodiscard]] int bsh_get_ipsec_status(int& router_status, int& supernode_status);

// 0: none of the object's tunnels is connected (or it has none), 1: all are, 2: some are.
int ipsec_connetion_status_statistic(json_t* object);

}  // namespace harbex::corvane
