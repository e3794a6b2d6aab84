// The SD-WAN cloud's token and the organisation's name. The daemon's own.
#pragma once

#include <bsvc.h>

#include <cstdint>
#include <string>

namespace harbex::service {

// Whether a token fetched at `last_seen_s` is still served at `now_s`: for one day; a time in the future counts as
// fresh.
bool is_corvane_token_fresh(int64_t now_s, int64_t last_seen_s);

// The SD-WAN access token: the stored one while it is fresh, whatever organisation it was fetched for, else a new one
// from an edge login for `org_id`. Callers that find it stale at the same time share one login, and its failure when
// it was for the same organisation; they block for up to 20 s of transfers, and for those under way. E_SUCCESS,
// or E_JSON_FAIL, E_CMD_FAILED, E_CURL_FAIL with `token` untouched.
[[nodiscard]] int Get_corvanetoken(const std::string& org_id, std::string& token);

// Bus method: reads {"orgId": text}, answers the token.
int Get_corvanetoken(bs_io* io);
// Bus method: reads nothing; asks the organisation centre for the name of the stored organisation, stores it and
// answers with it. Blocks for up to 10 s of transfer, and as long as Get_cloudtoken. Without a reply when the name
// cannot be stored.
int Update_org_name(bs_io* io);

}  // namespace harbex::service
