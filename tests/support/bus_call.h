#pragma once

#include <bsvc.h>

#include <memory>
#include <string>
#include <utility>

#include "common/json_owner.h"

namespace harbex::test {

struct BusReply {
    int result = -1;   // bs_call's: 0, or one of bs_call_result
    std::string text;  // the reply's bytes; "" when the call failed
    JsonOwner json;    // null when the reply is no JSON

    // The member "error"; -9999 when there is none that is an integer.
    long long error() const {
        const json_t* member = json_object_get(json.get(), "error");
        return json_is_integer(member) ? json_integer_value(member) : -9999;
    }
    const json_t* data() const { return json_object_get(json.get(), "data"); }
    // A text member of the envelope; "" when there is none.
    std::string member(const char* key) const {
        const char* value = json_string_value(json_object_get(json.get(), key));
        return value == nullptr ? "" : value;
    }
};

inline BusReply bus_call(const std::string& service, const std::string& method, const std::string& body = "",
                         int timeout_s = 60) {
    const std::unique_ptr<bs_io, decltype(&bs_io_free)> io(bs_io_create(), &bs_io_free);
    BusReply reply;
    if (!io || (!body.empty() && bs_io_write(io.get(), body.data(), body.size()) < 0)) return reply;
    reply.result = bs_call(service.c_str(), method.c_str(), io.get(), timeout_s, -1);
    if (reply.result != BS_CALL_OK) return reply;
    size_t length = 0;
    if (const char* bytes = bs_io_read(io.get(), &length)) reply.text.assign(bytes, length);
    reply.json.reset(json_loadb(reply.text.data(), reply.text.size(), JSON_DECODE_ANY, nullptr));
    return reply;
}

}  // namespace harbex::test
