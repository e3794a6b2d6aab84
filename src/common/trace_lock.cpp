#include "common/trace_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "common/file_descriptor.h"
#include "common/file_lock.h"

namespace harbex::system {
namespace {

constexpr const char kLockFile[] = "/var/lock/harbex_log.lck";
constexpr mode_t kMode = 0777;

bool is_lock_file(int fd) {
    struct stat file;
    return ::fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink == 1 &&
           (file.st_uid == 0 || file.st_uid == ::geteuid());
}

// Not held up by a FIFO, nor given a terminal.
int open_lock_file() {
    const int fd = ::open(kLockFile, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, kMode);
    if (fd < 0 || is_lock_file(fd)) return fd;
    ::close(fd);
    return -1;
}

}  // namespace

// The lock file is usually opened here and never locked: only a descriptor that an earlier unlock step left open is
// waited on. The other programs that write this log do the same, and would meet any stricter lock as a stranger's.
void lock_step(int32_t& lock_fd) {
    if (lock_fd == -1) {
        lock_fd = open_lock_file();
        return;
    }
    struct flock lock = whole_file(F_WRLCK);
    (void)fcntl(lock_fd, F_SETLKW, &lock);
}

// Mirrors lock_step: where the lock file could not be opened it is tried again, for the next statement to wait on.
void unlock_step(int32_t& lock_fd) {
    if (lock_fd == -1) {
        lock_fd = open_lock_file();
        return;
    }
    struct flock lock = whole_file(F_UNLCK);
    (void)fcntl(lock_fd, F_SETLK, &lock);
    ::close(lock_fd);
    lock_fd = -1;
}

void make_trace_lock_file() {
    if (FileDescriptor(open_lock_file()).is_open()) return;
    // Made aside and renamed: between a deletion and a new file another user could be quicker.
    char path[] = "/var/lock/harbex_log.lck.XXXXXX";
    const FileDescriptor made(::mkostemp(path, O_CLOEXEC));
    if (!made.is_open()) return;
    const mode_t mask = ::umask(0);
    (void)::umask(mask);
    if (::fchmod(made.get(), kMode & ~mask) != 0 || ::rename(path, kLockFile) != 0) (void)::unlink(path);
}

}  // namespace harbex::system
