#include "account_token.h"

#include <string>

#include "common/error_code.h"
#include "common/number.h"
#include "corvane/device/settings.h"

namespace harbex::tools {

AccountToken read_account_token() {
    std::string token;
    if (corvane::read_setting(corvane::kVellumToken, token) != NO_ERROR) return {};
    const int64_t expiry = system::leading_int64(token.substr(token.rfind('.') + 1));
    return {.is_known = true, .is_present = !token.empty(), .expires_at_s = expiry};
}

}  // namespace harbex::tools
