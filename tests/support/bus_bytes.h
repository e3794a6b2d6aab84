// Messages of the bus, byte for byte.
#pragma once

#include <string>
#include <string_view>

#include "bus/framing.h"

namespace bsvc::test {

template <typename Header>
std::string bytes_of(const Header& header, std::string_view rest) {
    return std::string(reinterpret_cast<const char*>(&header), sizeof header).append(rest);
}
inline std::string request_bytes(std::string_view method, std::string_view body) {
    return bytes_of(make_request_header(method.size(), body.size()), method).append(body);
}
inline std::string reply_bytes(std::string_view body, size_t length) {
    return bytes_of(make_reply_header(length), body);
}
inline std::string reply_bytes(std::string_view body) {
    return reply_bytes(body, body.size());
}

}  // namespace bsvc::test
