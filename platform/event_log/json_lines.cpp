#include "json_lines.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

namespace nas {
namespace {

bool append_whole(int fd, const char* text, size_t length) {
    struct stat before {};
    if (fstat(fd, &before) != 0) return false;
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) {
            // Half a line would spoil the next one.
            (void)!ftruncate(fd, before.st_size);
            return false;
        }
        text += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

}  // namespace

json_t* json_text(const std::string& text) {
    if (json_t* value = json_stringn(text.data(), text.size())) return value;
    std::string ascii = text;
    std::replace_if(
        ascii.begin(), ascii.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
    return json_stringn(ascii.data(), ascii.size());
}

std::string local_time_text() {
    const time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    char text[32] = "";
    return std::string(text, strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
}

int append_json_line(const char* path, json_t* document) {
    std::unique_ptr<char, decltype(&std::free)> text(json_dumps(document, JSON_COMPACT), &std::free);
    json_decref(document);
    if (!text) return -1;
    std::string line(text.get());
    line += '\n';
    const int file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    if (file < 0) return -1;
    int locked = -1;
    do {
        locked = flock(file, LOCK_EX);
    } while (locked != 0 && errno == EINTR);
    const bool written = locked == 0 && append_whole(file, line.data(), line.size());
    close(file);
    return written ? 0 : -1;
}

}  // namespace nas
