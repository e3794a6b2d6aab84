#include "settings_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <utility>

#include "base/descriptor.h"
#include "base/write_all.h"
#include "settings_text.h"

namespace settings {
namespace {

using nas::Descriptor;

// One name for the whole directory: its lock allows one writer at a time, and so a killed one leaves one file at
// most, which the next writer removes.
constexpr const char* kNewFile = ".setcfg.new";
// Empty, and never deleted: all writers of a directory must meet at the same file. It is not the directory itself
// that is locked, since whoever may read that could hold its lock.
constexpr const char* kLockFile = ".setcfg.lock";
constexpr int kLockTimeout_s = 15;
constexpr useconds_t kLockRetry_us = 2000;
constexpr mode_t kModeOfNew = 0600;
constexpr int kLinkLimit = 40;  // the kernel's own

// Not strerror: that one looks for translations.
const char* describe(int error) {
    const char* text = strerrordesc_np(error);
    return text != nullptr ? text : "unknown error";
}

std::string failure(const char* step) {
    return std::string(step) + ": " + describe(errno);
}

// Null or why not.
const char* read_all(int file, std::string& text, struct stat& status) {
    if (fstat(file, &status) != 0) return describe(errno);
    if (S_ISDIR(status.st_mode)) return describe(EISDIR);
    if (!S_ISREG(status.st_mode)) return "not a regular file";
    text.resize(static_cast<size_t>(status.st_size) + 1);  // one more, so that the end shows without growing
    size_t used = 0;
    for (;;) {
        if (used == text.size()) text.resize(2 * text.size());
        const ssize_t count = read(file, text.data() + used, text.size() - used);
        if (count == 0) break;
        if (count > 0) {
            used += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            return describe(errno);
        }
    }
    text.resize(used);
    return nullptr;
}

// The path behind the symbolic links that `path` ends in; nothing needs to exist there. "" when the links go round in
// circles.
std::string follow_links(std::string path) {
    for (int links = 0; links <= kLinkLimit; ++links) {
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length <= 0) return path;  // no link; what else is wrong with it shows when it is opened
        if (target[0] == '/') {
            path.clear();
        } else {
            path.erase(path.rfind('/') + 1);  // 0 without a slash
        }
        path.append(target, static_cast<size_t>(length));
    }
    errno = ELOOP;
    return {};
}

// The file in an open directory that a change begins from.
struct OldFile {
    bool exists = false;
    struct stat status {};
    std::string text;
};

const char* read_old(int directory, const std::string& name, OldFile& old) {
    const Descriptor file(openat(directory, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (!file) return errno == ENOENT ? nullptr : describe(errno);
    if (const char* why = read_all(file.get(), old.text, old.status)) return why;
    // A rename asks the directory only; who may not write the file shall not replace it.
    if (faccessat(directory, name.c_str(), W_OK, AT_EACCESS) != 0) return describe(errno);
    old.exists = true;
    return nullptr;
}

// The open lock file of a directory; nothing, with errno, when there can be none that others leave alone.
Descriptor open_lock(int directory) {
    Descriptor file(openat(directory, kLockFile, O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY,
                           kModeOfNew));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) return Descriptor();
    const bool is_own = status.st_uid == geteuid();
    if (!S_ISREG(status.st_mode) || (!is_own && status.st_uid != 0)) {
        errno = EPERM;
        return Descriptor();
    }
    // The umask may have cut the mode, and somebody may have widened it.
    const bool is_right = !is_own || (status.st_mode & 07777) == kModeOfNew || fchmod(file.get(), kModeOfNew) == 0;
    return is_right ? std::move(file) : Descriptor();
}

// False, with errno, when the lock is not had within its time. It ends with the descriptor.
bool lock(int file) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kLockTimeout_s);
    while (flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) return false;
        if (std::chrono::steady_clock::now() >= deadline) {
            errno = ETIMEDOUT;
            return false;
        }
        usleep(kLockRetry_us);
    }
    return true;
}

// Null, or the step that failed with errno set.
const char* fill(int file, const OldFile& old, const std::string& text) {
    struct stat status {};
    if (fstat(file, &status) != 0) return "cannot look at the new file";
    const bool is_same_owner = status.st_uid == old.status.st_uid && status.st_gid == old.status.st_gid;
    if (old.exists && !is_same_owner && fchown(file, old.status.st_uid, old.status.st_gid) != 0) {
        return "cannot keep its owner";
    }
    if (!nas::write_all(file, text)) return "cannot write the new file";
    // Always, whatever the umask; last, since a change of owner and a write may take bits away.
    if (fchmod(file, old.exists ? old.status.st_mode & 07777 : kModeOfNew) != 0) return "cannot set its mode";
    if (fsync(file) != 0) return "cannot sync the new file";
    return nullptr;
}

std::string replace(int directory, const std::string& name, const OldFile& old, const std::string& text) {
    (void)unlinkat(directory, kNewFile, 0);  // if it stays, the next line says why
    const Descriptor file(
        openat(directory, kNewFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kModeOfNew));
    if (!file) return failure("cannot create a file beside it");
    const char* step = fill(file.get(), old, text);
    if (step == nullptr && renameat(directory, kNewFile, directory, name.c_str()) != 0) {
        step = "cannot put the new file in its place";
    }
    if (step != nullptr) {
        std::string why = failure(step);
        (void)unlinkat(directory, kNewFile, 0);  // the first failure is the one to tell
        return why;
    }
    (void)fsync(directory);  // the new file is in place: a failure now could not be undone
    return {};
}

}  // namespace

const char* read_file(const char* path, std::string& text) {
    text.clear();
    // Not blocking, for the case that somebody made it a pipe.
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) return errno == ENOENT || errno == ENOTDIR ? nullptr : describe(errno);
    struct stat status {};
    return read_all(file.get(), text, status);
}

std::string write_setting(const char* path, const std::string& section, const std::string& key,
                          const std::string& value) {
    const std::string target = follow_links(path);
    if (target.empty()) return describe(*path == '\0' ? ENOENT : ELOOP);
    const size_t name_at = target.rfind('/') + 1;  // 0 without a slash
    const std::string directory_path = name_at == 0 ? "." : target.substr(0, name_at);
    const std::string name = target.substr(name_at);
    if (name.empty() || name == "." || name == "..") return describe(EISDIR);
    if (name == kNewFile || name == kLockFile) return "this name is setcfg's own";

    const Descriptor directory(open(directory_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) return failure("cannot open its directory");
    const Descriptor lock_file = open_lock(directory.get());
    if (!lock_file) return failure("cannot open the lock file of its directory");
    if (!lock(lock_file.get())) return failure("cannot lock its directory");
    OldFile old;
    if (const char* why = read_old(directory.get(), name, old)) return why;
    std::string text = old.text;
    if (const char* why = set(text, section, key, value)) return why;
    if (old.exists && text == old.text) return {};  // spares the disk
    return replace(directory.get(), name, old, text);
}

}  // namespace settings
