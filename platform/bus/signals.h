// Signals that bs_signal holds back, and their delivery inside a service's loop.
#pragma once

#include "base/descriptor.h"

namespace bsvc {

using nas::Descriptor;

class HeldSignals {
public:
    // Holds what has been registered back in the calling thread, too, and opens a descriptor that tells of arrivals.
    // False, with errno, when that is impossible.
    bool open();
    int fd() const { return fd_.get(); }
    // Runs the callback of each signal that has arrived, in the calling thread.
    void deliver();

private:
    Descriptor fd_;
};

}  // namespace bsvc
