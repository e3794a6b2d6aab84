// The switches of the user interface's feature tour. Published through corvane/device/edge_daemon.h.
#pragma once

#include "common/json.h"

namespace harbex::corvane {

// Sets out["feature_intro"] and out["feature_tip"], true unless stored as anything but "true". Always NO_ERROR.
int feature_tour_show(JsonValue& out);
// Stores both as given; null is "". NO_ERROR, ERR_UNKNOWN_OPTION for a rejected value, ERR_NO_TYPE when they cannot
// be stored.
[[nodiscard]] int feature_tour_set(const char* intro, const char* tip);

}  // namespace harbex::corvane
