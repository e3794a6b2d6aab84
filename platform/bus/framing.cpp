#include "framing.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace bsvc {
namespace {

// The same swap leads both ways.
constexpr uint32_t little_endian(uint32_t value) {
    return std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
}

uint32_t clamped(size_t length) {
    return static_cast<uint32_t>(std::min<uint64_t>(length, std::numeric_limits<uint32_t>::max()));
}

// Copies a header out of the bytes: they are not aligned for it.
template <typename Header>
bool take_header(std::string_view bytes, Header& header) {
    if (bytes.size() < sizeof header) return false;
    std::memcpy(&header, bytes.data(), sizeof header);
    return true;
}

// A sender of something else is known by its first bytes; waiting for a whole header would let it sit until its
// deadline.
bool starts_with_magic(std::string_view bytes, uint32_t magic) {
    const uint32_t wire = little_endian(magic);
    return std::memcmp(bytes.data(), &wire, std::min(bytes.size(), sizeof wire)) == 0;
}

}  // namespace

RequestHeader make_request_header(size_t method_length, size_t body_length) {
    return {little_endian(kRequestMagic), little_endian(kVersion), little_endian(clamped(method_length)),
            little_endian(clamped(body_length))};
}

ReplyHeader make_reply_header(size_t body_length) {
    return {little_endian(kReplyMagic), little_endian(kVersion), little_endian(clamped(body_length))};
}

Parsed parse_request(std::string_view bytes, Request& request) {
    if (bytes.empty()) return Parsed::kIncomplete;
    if (!starts_with_magic(bytes, kRequestMagic)) return Parsed::kMalformed;
    RequestHeader header;
    if (!take_header(bytes, header)) return Parsed::kIncomplete;
    if (little_endian(header.version) != kVersion) return Parsed::kMalformed;
    const size_t method_length = little_endian(header.method_length);
    const size_t body_length = little_endian(header.body_length);
    // Each alone first: their sum may not fit a size_t of 32 bits.
    if (method_length > kMaxPayload || body_length > kMaxPayload - method_length) return Parsed::kTooLarge;
    bytes.remove_prefix(sizeof header);
    const std::string_view method = bytes.substr(0, method_length);
    // The method is handed on as a C string: what stands behind a NUL would be lost.
    if (method.find('\0') != std::string_view::npos) return Parsed::kMalformed;
    if (bytes.size() < method_length + body_length) return Parsed::kIncomplete;
    if (bytes.size() > method_length + body_length) return Parsed::kMalformed;
    request = {method, bytes.substr(method_length)};
    return Parsed::kWhole;
}

Parsed parse_reply(std::string_view bytes, Reply& reply) {
    if (bytes.empty()) return Parsed::kIncomplete;
    if (!starts_with_magic(bytes, kReplyMagic)) return Parsed::kMalformed;
    ReplyHeader header;
    if (!take_header(bytes, header)) return Parsed::kIncomplete;
    if (little_endian(header.version) != kVersion) return Parsed::kMalformed;
    const size_t body_length = little_endian(header.body_length);
    if (body_length > kMaxPayload) return Parsed::kTooLarge;
    bytes.remove_prefix(sizeof header);
    if (bytes.size() > body_length) return Parsed::kMalformed;
    reply = {body_length, bytes};
    return bytes.size() < body_length ? Parsed::kIncomplete : Parsed::kWhole;
}

}  // namespace bsvc
