// Whether the address the organisation offers clashes with a network of this NAS, judged by the cloud.
// Published.
#pragma once

#include <string>

namespace harbex::corvane {

// Asks the cloud about `virtual_ip` and replaces it by the cloud's suggestion on a clash. Blocks for up to 10 s of
// transfer, and 60 s for the token before it. NO_ERROR whether or not the address changed; ERR_CORVANE_GETCLOUDTOKEN
// without an SD-WAN token; ERR_CURL_FAIL without a handle; ERR_WRONG_JSON_FORMAT when the request cannot be built or
// a clash is answered with no JSON; ERR_NO_MEMORY; else the transfer's own code. Untouched on failure.
[[nodiscard]] int corvane_api_ip_subnet_check(std::string& virtual_ip);

}  // namespace harbex::corvane
