// The lock file that all programs writing the trace log share. The library's own.
//
// On many systems its folder may be written by anybody. What stands in its place therefore counts as a lock file only
// when it is a regular file with one link that belongs to root or to the caller; opening anything else has failed,
// and nothing else is waited on, followed or made.
#pragma once

#include <cstdint>

namespace harbex::system {

// The step before a statement; `lock_fd` is the descriptor that goes from step to step, -1 for none. May block while
// another process holds the lock file.
void lock_step(int32_t& lock_fd);
// The step behind it.
void unlock_step(int32_t& lock_fd);

// Makes the lock file, so that nobody else can put one there later; what stands in its place and is no lock file is
// replaced. For a program's start, before its first statement. A failure shows nowhere: statements do without a lock.
void make_trace_lock_file();

}  // namespace harbex::system
