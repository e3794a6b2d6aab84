#include "common/log_rotation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "common/file_descriptor.h"
#include "common/file_lock.h"

namespace harbex::system {
namespace {

constexpr uint32_t kRotationSize = 2 * 1024 * 1024;
constexpr int kGenerations = 5;

using Path = char[256];

[[gnu::format(printf, 2, 3)]] bool format_path(Path& path, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(path, sizeof(path), format, args);
    va_end(args);
    return length >= 0 && static_cast<size_t>(length) < sizeof(path);
}

// Only the low 32 bits of the size count: a file just above 4 GiB is a small one.
bool has_reached_rotation_size(const char* path) {
    struct stat file;
    return ::stat(path, &file) == 0 && static_cast<uint32_t>(file.st_size) >= kRotationSize;
}

// The last rename's directory entry is made to survive a power failure.
void sync_directory_of(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    Path directory = ".";
    if (slash == path) {
        (void)format_path(directory, "/");
    } else if (slash != nullptr) {
        (void)format_path(directory, "%.*s", static_cast<int>(slash - path), path);
    }
    const FileDescriptor opened(::open(directory, O_RDONLY | O_CLOEXEC));
    if (opened.is_open() && ::fsync(opened.get()) != 0) {
        std::fprintf(stderr, "Warning: fsync failed on directory: %s (errno=%d)\n", directory, errno);
    }
}

// Frees `path`, generation 0, by moving every generation one up over the next one; missing ones are skipped.
bool shift_generations(const char* path) {
    for (int generation = kGenerations - 1; generation >= 0; --generation) {
        Path source;
        Path target;
        const bool fits =
            (generation == 0 ? format_path(source, "%s", path) : format_path(source, "%s.%d", path, generation)) &&
            format_path(target, "%s.%d", path, generation + 1);
        if (!fits) return false;
        if (::access(source, F_OK) == 0 && std::rename(source, target) != 0) return false;
    }
    return true;
}

// With the rotation lock held.
void rotate(const char* path) {
    Path temporary;
    if (!format_path(temporary, "%s.tmp", path)) {
        std::fprintf(stderr, "Error: temp file path too long (path: %s.tmp)\n", path);
        return;
    }
    if (!FileDescriptor(::open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)).is_open()) return;
    if (!shift_generations(path) || std::rename(temporary, path) != 0) {
        (void)::unlink(temporary);
        return;
    }
    sync_directory_of(path);
}

}  // namespace

void log_rotate(const char* path) {
    Path lock_path;
    if (!format_path(lock_path, "%s.lock", path)) {
        std::fprintf(stderr, "Error: lock file path too long (path: %s.lock)\n", path);
        return;
    }
    const FileDescriptor lock_file(::open(lock_path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!lock_file.is_open()) {
        std::fprintf(stderr, "Error: Failed to create lock file for log rotation\n");
        return;
    }
    struct flock lock = whole_file(F_WRLCK);
    if (fcntl(lock_file.get(), F_SETLKW, &lock) != 0) return;
    if (has_reached_rotation_size(path)) rotate(path);
    lock = whole_file(F_UNLCK);
    (void)fcntl(lock_file.get(), F_SETLK, &lock);
}

}  // namespace harbex::system
