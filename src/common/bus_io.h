// What every caller of another bus service needs: an owner of its stream, the callbacks that serialise a request into
// it, and the check of the reply. Published.
#pragma once

#include <bsvc.h>
#include <jansson.h>

#include <cstddef>
#include <memory>

#include "common/releaser.h"

namespace harbex {

// Owns one stream; empty when memory was short.
class bs_auto_io {
public:
    bs_auto_io() : io_(bs_io_create()) {}
    explicit bs_auto_io(bs_io* io) : io_(io) {}  // takes ownership; null is allowed

    bs_io* get() const { return io_.get(); }
    operator bs_io*() const { return io_.get(); }  // still owned by this object

private:
    std::unique_ptr<bs_io, system::Releaser<bs_io_free>> io_;
};

namespace corvane {

// Callbacks for json_dump_callback with a bs_io (or null, which fails) as its data: the count of bytes written minus
// `size`, so 0 when the whole chunk went in; a failed write is negative and ends the serialiser.
[[nodiscard]] int json_write_io(const char* buffer, size_t size, void* io);
[[nodiscard]] int json_write_bsh_io(const char* buffer, size_t size, void* io);

// Judges a service's parsed reply (borrowed, may be null) by its "error" member alone. NO_ERROR when that is 0 or no
// integer; ERR_BS_IO_FAILED when there is no reply; ERR_WRONG_JSON_FORMAT when the member is missing or another
// number. Each failure is logged.
[[nodiscard]] int bsh_response_checker(json_t* root);

}  // namespace corvane
}  // namespace harbex
