// Enrols this NAS as an edge device of the user's organisation. Published. Each cloud request blocks for up to 10 s;
// each function returns ERR_NO_MEMORY, too.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// The whole flow; sets result["deviceId"] and result["corvaneToken"] when every step up to the enrolment marker
// succeeded. NO_ERROR; ERR_CORVANE_GETCLOUDTOKEN; ERR_CORVANEAPI_EDGE when the log-in fails or its answer is
// unusable; ERR_SAVE_CONFIG when the serial number cannot be stored; ERR_CORVANEAPI_VPN_GROUPS;
// ERR_CORVANEAPI_DEVICES for the device's record, its agent configuration or that file; ERR_CORVANE_GETDEVICE_TOKEN;
// else the code of the marker's write. What steps before the failed one stored stays; the marker is written last, so
// a failed enrolment never claims to be one. Two at once are not guarded against each other.
[[nodiscard]] int device_register(JsonValue& result);

// Reads the log-in's answer, checks and stores the virtual IP and the serial number. NO_ERROR; ERR_WRONG_JSON_FORMAT
// for no JSON object or missing members; ERR_CMD_FAILED when a value cannot be stored. The outputs are filled before
// the serial number is stored: also when that fails; untouched on any other failure.
[[nodiscard]] int parse_api_edge(const std::string& reply, std::string& device_id, std::string& corvane_token,
                                 std::string& serial_number);

// Replaces a configured region of "auto" by the first group of the topology that has hubs, or by the super nodes'
// region. NO_ERROR, also when there is nothing to resolve; ERR_WRONG_JSON_FORMAT for an unusable topology;
// ERR_CMD_FAILED when the region cannot be stored.
[[nodiscard]] int resolve_auto_region(const std::string& groups_reply);

// GET of the VPN topology, appended to `reply`. NO_ERROR, ERR_HTTP_ERROR or libcurl's own code; `reply` takes what
// came.
[[nodiscard]] int corvane_api_vpn_groups(const std::string& corvane_token, std::string& reply);
// GET of the device's record, whose text is dropped. NO_ERROR, ERR_HTTP_ERROR or libcurl's own code.
[[nodiscard]] int corvane_api_devices(const std::string& device_id, const std::string& corvane_token);
// GET of the device's agent configuration, appended to `reply`. Results as those of corvane_api_vpn_groups.
[[nodiscard]] int corvane_api_devices_cloudagent_cfg(std::string device_id, const std::string& corvane_token,
                                                     std::string& reply);

}  // namespace harbex::corvane
