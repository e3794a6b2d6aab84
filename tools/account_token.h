// The cloud account token as the settings hold it: whether there is one, and until when. Never the token itself.
#pragma once

#include <cstdint>

namespace harbex::tools {

struct AccountToken {
    bool is_known = false;  // whether the settings could be read
    bool is_present = false;
    int64_t expires_at_s = 0;  // since the epoch; 0 when the token does not say

    [[nodiscard]] bool is_valid(int64_t now_s) const { return is_present && expires_at_s > now_s; }
};

// Blocks for the run of a tool.
AccountToken read_account_token();

}  // namespace harbex::tools
