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
// E_JSON_FAIL, E_CMD_FAILED, E_CURL_FAIL, the latter three with `token` untouched.
[[nodiscard]] int Get_corvanetoken(const std::string& org_id, std::string& token);

// Bus methods. The first reads {"orgId": text}, the second nothing.
int Get_corvanetoken(bs_io* io);
int Update_org_name(bs_io* io);

}  // namespace harbex::service
