#include "json_lines.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "base/descriptor.h"
#include "base/write_all.h"

namespace nas {
namespace {

bool append_whole(int fd, const std::string& line) {
    struct stat before {};
    if (fstat(fd, &before) != 0) return false;
    if (write_all(fd, line)) return true;
    (void)!ftruncate(fd, before.st_size);  // half a line would spoil the next one
    return false;
}

}  // namespace

std::string local_time_text() {
    const time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    char text[32] = "";
    return std::string(text, strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
}

int append_json_line(const char* path, Json document) {
    const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(document.get(), JSON_COMPACT), &std::free);
    if (!text) return -1;
    const std::string line = std::string(text.get()) + '\n';
    const Descriptor file(open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640));
    while (file && flock(file.get(), LOCK_EX) != 0)
        if (errno != EINTR) return -1;
    return file && append_whole(file.get(), line) ? 0 : -1;
}

}  // namespace nas
