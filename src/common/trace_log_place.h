// Where the trace log lies. Its name is published, in common/trace_log.h.
#pragma once

namespace harbex::system {

// Moves the log to var/log/Harbex.log under the application's installation directory. Runs a tool. The log stays
// where it is when the directory cannot be read or the path does not fit; the latter is logged.
void set_log_file_wrapper();

}  // namespace harbex::system
