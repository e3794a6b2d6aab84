// The owner of one file descriptor, for the stand-ins and their programs.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace nas {

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) reset(std::exchange(other.fd_, -1));
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    // Leaves errno as it was, so that a failure can be reported after its owners are gone.
    void reset(int fd = -1) {
        const int saved = errno;
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
        errno = saved;
    }

private:
    int fd_;
};

}  // namespace nas
