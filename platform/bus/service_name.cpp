#include "service_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace bsvc {
namespace {

constexpr char kDirectory[] = "/var/run/bsvc";
// Held while a name is taken or given back. No service's socket can have this path: they end in ".sock".
constexpr char kLockFile[] = "/var/run/bsvc/.lock";
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kSocketMode = 0600;
// Connections that wait to be accepted; callers behind them wait in connect, within their time-out.
constexpr int kBacklog = 128;

bool make_directory() {
    // chmod, because the umask has cut the mode.
    if (mkdir(kDirectory, kDirectoryMode) == 0) return chmod(kDirectory, kDirectoryMode) == 0;
    return errno == EEXIST;
}

// Nothing, with errno, when the lock cannot be had. The lock ends with the descriptor.
Descriptor lock_names() {
    Descriptor lock(open(kLockFile, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kSocketMode));
    while (lock && flock(lock.get(), LOCK_EX) != 0)
        if (errno != EINTR) return Descriptor();
    return lock;
}

// Whether a listener answers there. A full backlog is an answer, and so is another kind of socket.
enum class Behind { kNobody, kStale, kLive, kUnknown };
Behind who_is_behind(const sockaddr_un& address) {
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!probe) return Behind::kUnknown;
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return Behind::kLive;
    switch (errno) {
        case ENOENT:
            return Behind::kNobody;
        case ECONNREFUSED:
            return Behind::kStale;
        case EAGAIN:
        case EPROTOTYPE:
            return Behind::kLive;
        default:
            return Behind::kUnknown;
    }
}

// Makes the path free to bind to, or says with errno why it is not.
bool clear_path(const sockaddr_un& address) {
    switch (who_is_behind(address)) {
        case Behind::kNobody:
            return true;
        case Behind::kLive:
            errno = EADDRINUSE;
            return false;
        case Behind::kUnknown:
            return false;
        case Behind::kStale:
            break;
    }
    // A file of another kind refuses connections, too; it is not ours to remove.
    struct stat found {};
    if (lstat(address.sun_path, &found) != 0) return errno == ENOENT;
    if (!S_ISSOCK(found.st_mode)) {
        errno = EEXIST;
        return false;
    }
    return unlink(address.sun_path) == 0;
}

Descriptor listen_at(const sockaddr_un& address) {
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!listener) return listener;
    // The mode of the socket is that of the file from its first moment; chmod afterwards puts back what the umask
    // took.
    if (fchmod(listener.get(), kSocketMode) != 0 ||
        bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Descriptor();
    if (chmod(address.sun_path, kSocketMode) == 0 && listen(listener.get(), kBacklog) == 0) return listener;
    const int reason = errno;
    unlink(address.sun_path);
    errno = reason;
    return Descriptor();
}

}  // namespace

bool service_address(const char* service, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (service == nullptr || *service == '\0' || std::strchr(service, '/') != nullptr) return false;
    const int length = std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s.sock", kDirectory, service);
    return length > 0 && static_cast<size_t>(length) < sizeof address.sun_path;
}

// Two services that start at once find a stale socket both: the lock lets one look, remove and bind before the other
// looks.
std::optional<OwnedName> OwnedName::take(const char* service) {
    sockaddr_un address;
    if (!service_address(service, address)) {
        errno = EINVAL;
        return std::nullopt;
    }
    if (!make_directory()) return std::nullopt;
    const Descriptor lock = lock_names();
    if (!lock || !clear_path(address)) return std::nullopt;
    Descriptor listener = listen_at(address);
    if (!listener) return std::nullopt;
    return OwnedName(address, std::move(listener));
}

OwnedName::OwnedName(const sockaddr_un& address, Descriptor listener)
    : address_(address), listener_(std::move(listener)) {
    struct stat own {};
    if (lstat(address_.sun_path, &own) != 0) return;
    device_ = own.st_dev;
    inode_ = own.st_ino;
}

bool OwnedName::is_own_file() const {
    struct stat found {};
    return lstat(address_.sun_path, &found) == 0 && found.st_dev == device_ && found.st_ino == inode_;
}

OwnedName::~OwnedName() {
    if (!listener_) return;
    // Without the lock the file stays: stale, and replaced by the next service of this name.
    const Descriptor lock = lock_names();
    if (lock && is_own_file()) unlink(address_.sun_path);
}

}  // namespace bsvc
