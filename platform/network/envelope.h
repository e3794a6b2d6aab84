// The replies: an object whose first member is "error", 0 for success.
#ifndef NETWORK_ENVELOPE_H
#define NETWORK_ENVELOPE_H

#include <jansson.h>

#include <memory>
#include <string>

namespace network {

struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

// The error numbers that every method may answer beside its own.
constexpr int kUnknownMethod = 1001;
constexpr int kKernelFailed = 100;  // the kernel could not be asked

// A JSON text. Bytes that are no UTF-8 (the kernel takes any in an interface's name) become '?'.
Json json_text(const std::string& text);

// {"error":0,"data":…}. Null when memory is short or `data` is null.
Json success(Json data);

// {"error":…,"data":why,"error_message":why}
Json failure(int error, const std::string& why);

}  // namespace network

#endif
