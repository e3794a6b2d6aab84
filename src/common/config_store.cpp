#include "common/config_store.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <vector>

#include <curl/curl.h>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/file_descriptor.h"

namespace harbex::system {
namespace {

constexpr size_t kCopyChunk = 4096;

struct CurlHandleFree {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct CurlTextFree {
    void operator()(char* text) const { curl_free(text); }
};

// Neither writer truncates: whatever a longer file holds behind the new content stays.
FileDescriptor open_for_writing(const char* path, unsigned mode) {
    return FileDescriptor(::open(path, O_WRONLY | O_CREAT | O_CLOEXEC, static_cast<mode_t>(mode)));
}

}  // namespace

int getcfg_wrapper(std::string file, std::string section, std::string key, std::string default_value,
                   std::string& value) {
    try {
        if (do_exec_safe({"/sbin/getcfg", section, key, "-f", file, "-d", default_value}, value) != 0 &&
            default_value.empty()) {
            return ERR_CMD_FAILED;
        }
        std::erase(value, '\n');
        if (value.empty()) value = default_value;
        return NO_ERROR;
    } catch (...) {  // no memory
        value.clear();
        return ERR_CMD_FAILED;
    }
}

int setcfg_wrapper(std::string file, std::string section, std::string key, std::string value) {
    try {
        std::string output;
        const int result = do_exec_safe({"/sbin/setcfg", section, key, value, "-f", file}, output);
        return result == 0 ? NO_ERROR : ERR_CMD_FAILED;
    } catch (...) {  // no memory
        return ERR_CMD_FAILED;
    }
}

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

int decode_urlEncoded(std::string in, std::string& out) {
    if (in.size() > INT_MAX) return ERR_CURL_FAIL;
    const std::unique_ptr<CURL, CurlHandleFree> handle(curl_easy_init());
    if (!handle) return ERR_CURL_FAIL;
    int length = 0;
    const std::unique_ptr<char, CurlTextFree> decoded(
        curl_easy_unescape(handle.get(), in.c_str(), static_cast<int>(in.size()), &length));
    if (!decoded) return ERR_CURL_FAIL;
    try {
        out.assign(decoded.get(), static_cast<size_t>(length));
    } catch (...) {  // no memory
        return ERR_CURL_FAIL;
    }
    return NO_ERROR;
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
