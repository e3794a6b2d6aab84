// Takes this NAS out of its organisation. Published. Both functions return ERR_NO_MEMORY, too.
#pragma once

#include <string>

#include "common/json.h"

namespace harbex::corvane {

// Deletes the device in the cloud and clears the enrolment marker; nothing else is undone here. Sets
// result["device_unregister_response"] to the deletion's answer, whether it succeeded or not. Blocks for up to 60 s
// for each of two tokens and 10 s for the deletion. NO_ERROR, also when the marker cannot be cleared;
// ERR_CORVANE_GETCLOUDTOKEN; ERR_CORVANE_GETCORVANETOKEN; ERR_CORVANE_GETDEVICE_ID; else the deletion's code.
[[nodiscard]] int device_unregister(JsonValue& result);

// The deletion alone. Appends the answer to `reply`. Blocks for up to 10 s. NO_ERROR, ERR_HTTP_ERROR or libcurl's own
// code.
[[nodiscard]] int corvane_api_device_unregister(const std::string& device_id, const std::string& corvane_token,
                                                const std::string& vellum_token, std::string& reply);

}  // namespace harbex::corvane
