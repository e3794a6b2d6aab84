// The user's organisations, account and region, from the cloud's organisation and account centre, and the settings
// that follow from them. Published. Each cloud request blocks for up to 10 s, the token before it for up to 60 s.
// Nothing is stored after a failed step, and nothing stored before it is taken back. Each function returns
// ERR_NO_MEMORY, too, but for get_contact_email.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// Creates the organisation `name` (inserted as it is). NO_ERROR; ERR_CORVANE_GETCLOUDTOKEN; ERR_CURL_FAIL when the
// request fails, is answered no JSON or with a failure code; ERR_WRONG_JSON_FORMAT when the answer lacks the id.
// `organization_id` is untouched on failure.
[[nodiscard]] int create_organization(const std::string& name, std::string& organization_id);

// Replaces `list_out` by an array of {"name", "organization_id", "is_default"}, held as a jansson leaf; a user
// without organisations gets a first one, "My Organization". NO_ERROR; ERR_CORVANE_GETCLOUDTOKEN; ERR_CURL_FAIL when
// request or creation fails; ERR_WRONG_JSON_FORMAT for an answer of another shape. Untouched on failure.
[[nodiscard]] int get_organization_list(JsonValue& list_out);

// Appends the account centre's record of the signed-in user to `response`. NO_ERROR; ERR_CMD_FAILED without a token;
// ERR_CURL_DNS_RESOLVE; ERR_CURL_TIMEOUT for a time-out or no connection; ERR_CURL_FAIL otherwise, `response` then
// holds what came.
[[nodiscard]] int account_center_api_me(std::string& response);

// Stores the user's name, e-mail and region. NO_ERROR, a code of account_center_api_me, ERR_WRONG_JSON_FORMAT for an
// answer without a record, ERR_CMD_FAILED when one of the three is empty or cannot be stored.
[[nodiscard]] int set_corvane_bid_conf();

// The user's e-mail from the settings, from the account centre when they have none. NO_ERROR, or ERR_CMD_FAILED with
// `email` untouched.
[[nodiscard]] int get_contact_email(std::string& email);

// Stores the id of the organisation's first site. NO_ERROR; ERR_CORVANE_GETCLOUDTOKEN; ERR_WRONG_JSON_FORMAT when the
// account tool fails or prints no such site; ERR_CMD_FAILED when it cannot be stored. Blocks as long as the tool
// does.
[[nodiscard]] int set_site_id(const std::string& org_id);

}  // namespace harbex::corvane
