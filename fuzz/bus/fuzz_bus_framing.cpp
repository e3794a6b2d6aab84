// Bus framing on any bytes: the verdict never changes back while more bytes come, views stay inside the input, and
// what is taken for whole is exactly what its parts encode to.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "bus/framing.h"

namespace {

using namespace bsvc;

void require(bool condition) {
    if (!condition) std::abort();
}

template <typename Header>
std::string bytes_of(const Header& header) {
    return std::string(reinterpret_cast<const char*>(&header), sizeof header);
}

// A copy of exactly that many bytes, so that the sanitizer sees a read behind them.
struct Copy {
    explicit Copy(std::string_view bytes) : data(new char[bytes.size()]), size(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data.get());
    }
    std::string_view view() const { return {data.get(), size}; }
    std::unique_ptr<char[]> data;
    size_t size;
};

Parsed judge_request(std::string_view bytes) {
    const Copy copy(bytes);
    Request request;
    const Parsed parsed = parse_request(copy.view(), request);
    if (parsed != Parsed::kWhole) return parsed;
    require(request.method.size() + request.body.size() <= kMaxPayload);
    require(request.method.find('\0') == std::string_view::npos);
    require(bytes_of(make_request_header(request.method.size(), request.body.size()))
                .append(request.method)
                .append(request.body) == bytes);
    return parsed;
}

Parsed judge_reply(std::string_view bytes) {
    const Copy copy(bytes);
    Reply reply;
    const Parsed parsed = parse_reply(copy.view(), reply);
    require(reply.body_length <= kMaxPayload && reply.body.size() <= reply.body_length);
    if (reply.body.data() == nullptr) return parsed;
    require(bytes_of(make_reply_header(reply.body_length)).append(reply.body) == bytes);
    require((parsed == Parsed::kWhole) == (reply.body.size() == reply.body_length));
    return parsed;
}

// Byte by byte, as a slow peer sends: incomplete up to a verdict; a request that is whole becomes malformed by one
// byte more; no refusal is ever taken back.
void grow(std::string_view bytes, Parsed (*judge)(std::string_view)) {
    Parsed last = Parsed::kIncomplete;
    // Long inputs in larger steps, so that one of them does not take a second.
    const size_t step = 1 + bytes.size() / 256;
    for (size_t size = 0; size <= bytes.size(); size += step) {
        const Parsed now = judge(bytes.substr(0, size));
        if (last == Parsed::kWhole) require(now == Parsed::kMalformed);
        if (last == Parsed::kMalformed || last == Parsed::kTooLarge) require(now == last);
        last = now;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    grow(bytes, judge_request);
    grow(bytes, judge_reply);
    // The input as a payload: what is encoded is read back, with any cut between method and body.
    const size_t cut = size == 0 ? 0 : data[0] % (size + 1);
    const std::string_view method = bytes.substr(0, cut);
    const bool has_nul = method.find('\0') != std::string_view::npos;
    const std::string request = bytes_of(make_request_header(cut, size - cut)).append(bytes);
    require(judge_request(request) == (has_nul              ? Parsed::kMalformed
                                       : size > kMaxPayload ? Parsed::kTooLarge
                                                            : Parsed::kWhole));
    require(judge_reply(bytes_of(make_reply_header(size)).append(bytes)) ==
            (size > kMaxPayload ? Parsed::kTooLarge : Parsed::kWhole));
    return 0;
}
