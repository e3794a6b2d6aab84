// What the simulated cloud's services answer.
#pragma once

#include <cstdint>
#include <string>

#include "cloud/credentials.h"
#include "cloud/records.h"
#include "cloud/state.h"

namespace appliance {

// Checks the request as the service would, acts on the state, and saves it when the request was accepted. `now` is in
// seconds since the epoch.
CloudAnswer answer_request(const std::string& service, const CloudRequest& request, CloudState& state,
                           const Credentials& credentials, int64_t now);

// The paths that the services serve, a line each; * stands for one part.
std::string list_paths();

// Whether the service has an endpoint whose path matches `pattern` (* for any characters).
bool service_serves(const std::string& service, const std::string& pattern);

}  // namespace appliance
