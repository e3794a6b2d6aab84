// The trace log of the library and of the system utilities: one statement, one line at the end of a file that other
// programs of the application append to as well. (The daemon's own log is service/logger.) All names are published;
// they stand in the three headers.
#pragma once

#include "common/log_rotation.h"
#include "common/trace_log_place.h"
#include "common/trace_statement.h"
