// Keeps the daemon's memory as small after a large request, and after a year of calls, as it was before, and a little
// of it for when there is no more. The daemon's own.
#pragma once

namespace harbex::service {

// One heap for all threads, and large blocks outside of it whatever was allocated before. Must run before there are
// threads and JSON values.
void prepare_memory();

// Gives what has been freed back to the system when that is much, and sets aside anew what short memory has taken.
// Meant to be called after each call; any thread may.
void tidy_memory();

}  // namespace harbex::service
