// Settings files as wholes: read at once, replaced at once.
#pragma once

#include <string>

namespace settings {

// Puts the whole file into `text`; a file that does not exist is an empty one. Null when done, otherwise why not.
const char* read_file(const char* path, std::string& text);

// Changes one setting of the file that `path` leads to (through symbolic links), creating the file (mode 0600), the
// section and the key as needed; mode and owner of an old file stay. Writers of one directory wait for each other, up
// to 15 s, at a lock file that stays in it and must belong to the caller or root. Whatever happens on the way,
// readers find the old file or the new one, whole. Returns "" when done, otherwise why not, in one line: the file is
// then untouched.
std::string write_setting(const char* path, const std::string& section, const std::string& key,
                          const std::string& value);

}  // namespace settings
