// What fcntl is told to lock a whole file, whatever its length becomes. The library's own.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace harbex::system {

// `type`: F_RDLCK, F_WRLCK or F_UNLCK.
inline struct flock whole_file(short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

}  // namespace harbex::system
