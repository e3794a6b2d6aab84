#include "read_input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "common/error_code.h"
#include "common/releaser.h"

namespace harbex::tools {
namespace {

constexpr size_t kMaxInput = size_t{1} << 20;  // what a bus call takes

}  // namespace

int read_input(const std::string& path, std::string& text, std::string& why) {
    const bool is_standard_input = path.empty() || path == "-";
    const std::unique_ptr<FILE, system::Releaser<std::fclose>> opened(
        is_standard_input ? nullptr : std::fopen(path.c_str(), "re"));
    FILE* const file = is_standard_input ? stdin : opened.get();
    char bytes[4096];
    for (size_t count = 1; file != nullptr && count != 0 && text.size() <= kMaxInput;) {
        count = std::fread(bytes, 1, sizeof bytes, file);
        text.append(bytes, count);
    }
    if (file != nullptr && std::ferror(file) == 0 && text.size() <= kMaxInput) return NO_ERROR;
    if (text.size() > kMaxInput) errno = EFBIG;
    why = std::string("The file cannot be read: ") + strerror(errno) + ".";
    return ERR_REGULAR_FILE;
}

}  // namespace harbex::tools
