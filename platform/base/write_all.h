// Writing all of a text to a blocking descriptor.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace nas {

// False, with errno, on the first failure; part of the text may then be written.
inline bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace nas
