// Generations of a log file. Its name is published, in common/trace_log.h.
#pragma once

namespace harbex::system {

// Renames the file at `path` to PATH.1, the older PATH.1 to PATH.5 one up, and leaves a new empty file, when it has
// reached 2 MiB. Blocks while another process rotates the same path (PATH.lock, a lock of the process: threads of one
// process must exclude each other themselves). What fails is reported on standard error and leaves the files as far
// as they got.
void log_rotate(const char* path);

}  // namespace harbex::system
