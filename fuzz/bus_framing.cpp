// Bus framing on any bytes, both ways: what is taken for whole is what its parts encode to, no verdict is taken back
// while more bytes come, and what is encoded is read back.
#include "bus/framing.h"

#include <vector>

#include "fuzz.h"

namespace {

using namespace bsvc;
using fuzz::require;

template <typename Header>
std::string bytes_of(const Header& header) {
    return std::string(reinterpret_cast<const char*>(&header), sizeof header);
}

std::string request_bytes(std::string_view method, std::string_view body) {
    return bytes_of(make_request_header(method.size(), body.size())).append(method).append(body);
}

std::string reply_bytes(size_t length, std::string_view body) {
    return bytes_of(make_reply_header(length)).append(body);
}

Parsed judge_request(std::string_view bytes) {
    Request request;
    const Parsed parsed = parse_request(bytes, request);
    require(parsed != Parsed::kWhole || request_bytes(request.method, request.body) == bytes,
            "a request is its parts");
    return parsed;
}

Parsed judge_reply(std::string_view bytes) {
    Reply reply;
    const Parsed parsed = parse_reply(bytes, reply);
    require(reply.body.data() == nullptr || reply_bytes(reply.body_length, reply.body) == bytes,
            "a reply is its parts");
    require(reply.body_length <= kMaxPayload && reply.body.size() <= reply.body_length,
            "no reply is above the limit");
    return parsed;
}

// As a slow peer sends; long inputs in larger steps. Each part is a copy, so that a read behind it is seen.
void grow(std::string_view bytes, Parsed (*judge)(std::string_view)) {
    Parsed last = Parsed::kIncomplete;
    for (size_t size = 0; size <= bytes.size(); size += 1 + bytes.size() / 64) {
        const std::vector<char> part(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
        const Parsed now = judge({part.data(), part.size()});
        require(last == Parsed::kIncomplete || now == (last == Parsed::kWhole ? Parsed::kMalformed : last),
                "no verdict is taken back");
        last = now;
    }
}

}  // namespace

void fuzz::one(std::string_view input) {
    grow(input, judge_request);
    grow(input, judge_reply);
    const size_t cut = input.empty() ? 0 : static_cast<unsigned char>(input[0]) % input.size();
    const bool has_nul = input.substr(0, cut).find('\0') != input.npos;
    require(judge_request(request_bytes(input.substr(0, cut), input.substr(cut))) ==
                (has_nul ? Parsed::kMalformed : Parsed::kWhole),
            "a request is read back");
    require(judge_reply(reply_bytes(input.size(), input)) == Parsed::kWhole, "a reply is read back");
}
