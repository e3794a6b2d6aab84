// The tokens of the maker's cloud account: stored, handed out, renewed. The daemon's own.
#pragma once

#include <bsvc.h>

#include <cstdint>
#include <string>

namespace harbex::service {

// Decrypts the cloud's encoded sign-in answer and stores its access and refresh token; nothing is stored unless both
// are there. E_SUCCESS, E_NIMBARA_OAUTH_DECODE_ERROR, E_JSON_FAIL for a plaintext that is no such document,
// E_CMD_FAILED when a token cannot be stored (the access token may be, by then). Waits for renewals under way.
[[nodiscard]] int save_vellumtoken(const std::string& oauth_response_encoded);

// The stored access token, renewed first when it has expired. Callers that find it expired at the same time share one
// renewal, and its failure; they block for up to 10 s of transfer, and for those under way. E_SUCCESS, or
// E_CMD_FAILED with `token` untouched.
[[nodiscard]] int Get_cloudtoken(std::string& token);

// Renews the stored tokens at the cloud, expired or not. Blocks for up to 10 s of transfer, and for renewals under
// way. E_SUCCESS, E_JSON_FAIL, E_CMD_FAILED, E_CURL_FAIL.
[[nodiscard]] int auth_connector_refresh_token();

// Whether the time behind the token's last point, or all of it when it has none, is later than `now_s` (both seconds
// since the epoch). The time is the number that the text begins with, 0 without one.
bool is_cloud_token_valid(const std::string& token, int64_t now_s);

// Bus method: reads {"oauth_response_encoded": text}, answers "".
int Save_cloudtoken(bs_io* io);
// Bus method: reads nothing, answers the access token.
int Get_cloudtoken(bs_io* io);
// Bus method: reads nothing, answers "".
int Refresh_cloudtoken(bs_io* io);

}  // namespace harbex::service
