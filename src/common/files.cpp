#include "common/files.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/file_descriptor.h"

namespace harbex::system {
namespace {

constexpr size_t kCopyChunk = 4096;

// Neither writer truncates: whatever a longer file holds behind the new content stays.
FileDescriptor open_for_writing(const char* path, unsigned mode) {
    return FileDescriptor(::open(path, O_WRONLY | O_CREAT | O_CLOEXEC, static_cast<mode_t>(mode)));
}

}  // namespace

int write_file(std::string content, const char* path, unsigned mode) {
    const FileDescriptor file = open_for_writing(path, mode);
    if (!file.is_open()) return 0;
    const ssize_t written = ::write(file.get(), content.data(), content.size());
    if (written == static_cast<ssize_t>(content.size())) return 1;
    (void)::unlink(path);
    return 0;
}

int move_file(const char* from, const char* to, unsigned mode) {
    const FileDescriptor source(::open(from, O_RDONLY | O_CLOEXEC));
    if (!source.is_open()) return 0;
    const FileDescriptor target = open_for_writing(to, mode);
    if (!target.is_open()) return 0;
    while (::sendfile(target.get(), source.get(), nullptr, kCopyChunk) > 0) {
    }
    return ::unlink(from) == 0 ? 1 : 0;
}

int regular_file(const char* path) {
    struct stat file;
    return ::lstat(path, &file) == 0 && S_ISREG(file.st_mode) ? 1 : 0;
}

int executable_file(const char* path) {
    struct stat file;
    return ::lstat(path, &file) == 0 && (file.st_mode & S_IXUSR) != 0 ? 1 : 0;
}

}  // namespace harbex::system
