// Owner of one file descriptor. The library's own.
#pragma once

#include <unistd.h>

#include <utility>

namespace harbex::system {

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor(const FileDescriptor&) = delete;
    void operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }

    [[nodiscard]] bool is_open() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_;
};

}  // namespace harbex::system
