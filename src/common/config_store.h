// Settings, through the NAS's tools, and the small file operations that go with them. Nothing here logs.
#pragma once

#include <string>

namespace harbex::system {

// Reads a setting with /sbin/getcfg, blocking for its run. Line breaks are taken out of the value; an empty one
// becomes the default. NO_ERROR; ERR_CMD_FAILED, with an empty `value`, when the tool fails and the default is empty,
// or without memory.
[[nodiscard]] int getcfg_wrapper(std::string file, std::string section, std::string key, std::string default_value,
                                 std::string& value);

// Writes a setting with /sbin/setcfg, blocking for its run. NO_ERROR or ERR_CMD_FAILED.
[[nodiscard]] int setcfg_wrapper(std::string file, std::string section, std::string key, std::string value);

// Writes `content` over the start of the file, which is created with `mode` when missing. A longer file keeps its
// tail: callers write fresh files. 1, or 0; a short write deletes the file.
[[nodiscard]] int write_file(std::string content, const char* path, unsigned mode);

// Copies `from` over the start of `to` (see write_file) and deletes `from`. 1 when `from` was opened, `to` was opened
// and `from` is deleted, even if the copy fell short; else 0.
[[nodiscard]] int move_file(const char* from, const char* to, unsigned mode);

// Percent-decoding; "+" stays as it is, a decoded NUL is kept. NO_ERROR, or ERR_CURL_FAIL with `out` untouched.
[[nodiscard]] int decode_urlEncoded(std::string in, std::string& out);

// 1 or 0. A symbolic link is judged itself: it is neither a regular file nor judged by its target's mode.
[[nodiscard]] int regular_file(const char* path);
// 1 when the owner may execute it, whatever it is (a directory, too), else 0.
[[nodiscard]] int executable_file(const char* path);

}  // namespace harbex::system
