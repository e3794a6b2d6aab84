// Bus framing on any bytes, both ways: what is taken for whole is what its parts encode to, no verdict is taken back
// while more bytes come, and what is encoded is read back.
#include "bus/framing.h"

#include <vector>

#include "fuzz.h"
#include "support/bus_bytes.h"

namespace {

using namespace bsvc;
using namespace bsvc::test;
using fuzz::require;

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
    require(reply.body.data() == nullptr || reply_bytes(reply.body, reply.body_length) == bytes,
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
    require(judge_reply(reply_bytes(input)) == Parsed::kWhole, "a reply is read back");
}
