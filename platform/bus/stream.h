// The byte stream behind bsvc.h, and what ties a request's stream to its connection.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "bsvc.h"

namespace bsvc {

// One service's connections: how many are open, and how many were closed for which broken limit.
struct Traffic {
    std::atomic<int> open{0};
    std::atomic<uint64_t> crowded{0};    // came while the limit of open connections was reached
    std::atomic<uint64_t> foreign{0};    // of another user
    std::atomic<uint64_t> malformed{0};  // not this protocol
    std::atomic<uint64_t> oversized{0};  // announced more than the limit
    std::atomic<uint64_t> late{0};       // not whole by its deadline
};

// One of the places among a service's open connections; given back when it ends. Outlives the service, if it must.
class Seat {
public:
    explicit Seat(std::shared_ptr<Traffic> traffic) : traffic_(std::move(traffic)), number_(++traffic_->open) {}
    Seat(Seat&&) noexcept = default;
    Seat& operator=(Seat&&) = delete;
    ~Seat() {
        if (traffic_) --traffic_->open;
    }

    // How many were open with it when it came.
    int number() const { return number_; }

private:
    std::shared_ptr<Traffic> traffic_;
    int number_;
};

// Where the reply to a request's stream goes. The descriptor is the callback's.
struct Caller {
    Seat seat;
    int fd;
    bool answered;
};

// A stream with a request's body that bs_reply can answer. nullptr when memory is short: the seat is then given back.
bs_io* make_request_stream(std::string_view body, Seat seat, int fd);

}  // namespace bsvc

struct bs_io {
    char* bytes = nullptr;  // from malloc; holds `size` bytes and a NUL
    size_t size = 0;
    size_t capacity = 0;  // of `bytes`, the NUL's place included
    std::optional<bsvc::Caller> caller;

    bs_io() = default;
    bs_io(const bs_io&) = delete;
    bs_io& operator=(const bs_io&) = delete;
    ~bs_io();

    // Makes room for `count` bytes in all and the NUL. False, with the stream as it was, when memory is short.
    bool reserve(size_t count);
    // Takes the other stream's bytes for its own.
    void take_bytes(bs_io& other);
};
