// Keeps the daemon's memory as small after a large request, and after a year of calls, as it was before, and a little
// of it for when there is no more. The daemon's own.
#pragma once

#include <cstddef>

namespace harbex::service {

// One heap for all threads, and large blocks outside of it whatever was allocated before. Must run before there are
// threads and JSON values.
void prepare_memory();

// Gives whole pages that have been freed back to the system, behind a large request or many small ones, and sets
// aside anew what short memory has taken. Meant to be called after each call; any thread may.
void tidy_memory(size_t request_size);

}  // namespace harbex::service
