// What travels over a connection: one request, one reply. Pure functions on bytes: no sockets, no allocation, no
// failure but the ones they name. All numbers are 32 bits, little-endian.
//   request  magic | version | method length | body length | method | body
//   reply    magic | version | body length | body
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace bsvc {

constexpr uint32_t kRequestMagic = 0x51535342;  // "BSSQ" on the wire
constexpr uint32_t kReplyMagic = 0x52535342;    // "BSSR" on the wire
constexpr uint32_t kVersion = 1;
// Of a request, method and body together; of a reply, its body.
constexpr size_t kMaxPayload = 1024 * 1024;

struct RequestHeader {
    uint32_t magic, version, method_length, body_length;
};
struct ReplyHeader {
    uint32_t magic, version, body_length;
};
static_assert(sizeof(RequestHeader) == 16 && offsetof(RequestHeader, method_length) == 8);
static_assert(sizeof(ReplyHeader) == 12 && offsetof(ReplyHeader, body_length) == 8);

enum class Parsed {
    kIncomplete,  // right so far
    kWhole,
    kMalformed,  // not this protocol: magic, version, a NUL in the method, bytes behind the end
    kTooLarge,   // announces more than kMaxPayload; said as soon as the header is there
};

struct Request {
    std::string_view method, body;
};

struct Reply {
    size_t body_length = 0;
    std::string_view body;  // as far as it has come; not null once the header is there
};

// A header ready to be sent. Lengths that 32 bits cannot hold are sent as the highest number, which no reader
// accepts.
RequestHeader make_request_header(size_t method_length, size_t body_length);
ReplyHeader make_reply_header(size_t body_length);

// Judges what has arrived so far. The views point into `bytes` and are set with kWhole only.
Parsed parse_request(std::string_view bytes, Request& request);
// As parse_request, but `reply` is set as soon as the header is there: a reader can then make room for the rest.
Parsed parse_reply(std::string_view bytes, Reply& reply);

}  // namespace bsvc
