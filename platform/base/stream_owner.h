// The owner of one stream of the bus.
#pragma once

#include <memory>

#include "bsvc.h"

namespace nas {

struct StreamRelease {
    void operator()(bs_io* io) const { bs_io_free(io); }
};
using StreamOwner = std::unique_ptr<bs_io, StreamRelease>;

}  // namespace nas
