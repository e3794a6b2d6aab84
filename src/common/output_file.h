// A file stream whose descriptor no child inherits, which std::ofstream cannot promise. The library's own.
#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <ext/stdio_filebuf.h>
#include <ostream>
#include <string>

namespace harbex::system {

class OutputFile : public std::ostream {
public:
    OutputFile() : std::ostream(nullptr) { rdbuf(&file_); }
    // Failed, like any stream, when the file cannot be opened.
    OutputFile(const std::string& path, int placement, mode_t mode = kForEverybody) : OutputFile() {
        if (!open(path, placement, mode)) setstate(std::ios::failbit);
    }

    // Creates the file where there is none, with what the umask leaves of `mode`. `placement`: O_TRUNC or O_APPEND.
    bool open(const std::string& path, int placement, mode_t mode = kForEverybody) {
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | placement, mode);
        if (fd < 0) return false;
        file_ = Buffer(fd, placement == O_APPEND ? std::ios::out | std::ios::app : std::ios::out);
        if (!file_.is_open()) {
            ::close(fd);
            return false;
        }
        clear();
        return true;
    }

    void close() {
        if (file_.close() == nullptr) setstate(std::ios::failbit);
    }

private:
    static constexpr mode_t kForEverybody = 0666;
    using Buffer = __gnu_cxx::stdio_filebuf<char>;
    Buffer file_;
};

}  // namespace harbex::system
