// The enrolment marker in the account-identity file.
#pragma once

#include "corvane/device/settings.h"

namespace harbex::corvane {

inline constexpr Setting kBidTokenStatus{kBidConf, kBrindleIdSection, "bid_token_status", "", nullptr, nullptr};
inline constexpr const char kAlreadyJoined[] = "already_join_corvane";

}  // namespace harbex::corvane
