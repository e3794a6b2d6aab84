// The replies: an object whose first member is "error", 0 for success.
#pragma once

#include <string>

#include "base/json.h"

namespace network {

using nas::Json;
using nas::json_text;

// The error numbers that every method may answer beside its own.
constexpr int kUnknownMethod = 1001;
constexpr int kKernelFailed = 100;  // the kernel could not be asked

// {"error":0,"data":…}. Null when memory is short or `data` is null.
Json success(Json data);

// {"error":…,"data":why,"error_message":why}
Json failure(int error, const std::string& why);

}  // namespace network
