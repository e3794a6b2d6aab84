// Keeps the daemon's memory as small after a large request, and after a year of calls, as it was before. The daemon's
// own.
#pragma once

namespace harbex::service {

// One heap for all threads, and large blocks outside of it whatever was allocated before. Must run before there are
// threads.
void keep_heap_small();

// Gives what has been freed back to the system when that is much. Meant to be called after each call; any thread may.
void return_freed_memory();

}  // namespace harbex::service
