// Small operations on whole files. Nothing here logs. Its names are published, in common/config_store.h.
#pragma once

#include <string>

namespace harbex::system {

// Writes `content` over the start of the file, which is created with `mode` when missing. A longer file keeps its
// tail: callers write fresh files. 1, or 0; a short write deletes the file.
[[nodiscard]] int write_file(std::string content, const char* path, unsigned mode);

// Copies `from` over the start of `to` (see write_file) and deletes `from`. 1 when `from` was opened, `to` was opened
// and `from` is deleted, even if the copy fell short; else 0.
[[nodiscard]] int move_file(const char* from, const char* to, unsigned mode);

// 1 or 0. A symbolic link is judged itself: it is neither a regular file nor judged by its target's mode.
[[nodiscard]] int regular_file(const char* path);
// 1 when the owner may execute it, whatever it is (a directory, too), else 0.
[[nodiscard]] int executable_file(const char* path);

}  // namespace harbex::system
