// The daemon's result codes, as its callers see them. The daemon's own: nothing links to it.
#pragma once

namespace harbex::service {

// The value travels in the "error" member of a reply.
enum ErrorCode : int {
    E_SUCCESS = 0,
    E_ELSE = 1001,
    E_SERVICE_EXIST = 1002,
    E_JSON_FAIL = 1003,
    E_BS_FAIL = 1004,
    E_GET_CFG_FAIL = 1005,
    E_GET_LATITUDE_LONGITUDE_FAIL = 1006,
    E_GET_NCSI_RESULT_FAIL = 1007,
    E_GET_REAL_WAN_IP_FAIL = 1008,
    E_GET_HUB_SERIAL_NUM_FAIL = 1009,
    E_CMD_FAILED = 1010,
    E_GET_GEO_INFO_FAIL = 1011,
    E_GET_GATEWAY_INFO_FAIL = 1012,
    E_GET_INTERFACE_RXTX_BYTECOUNT_FAIL = 1013,
    E_CURL_FAIL = 1014,
    E_NIMBARA_OAUTH_DECODE_ERROR = 1015,
    E_CORVANE_API_DEVICE_UNREGISTER_FAIL = 1016,
    E_CORVANE_GET_ORG_ID_FAIL = 1017,
    E_CORVANE_GET_CORVANE_TOKEN_FAIL = 1018,
    E_CORVANE_GET_CLOUD_TOKEN_FAIL = 1019,
};

}  // namespace harbex::service
