// Append-only logs of one JSON document a line, shared by many processes.
#pragma once

#include <string>

#include "base/json.h"

namespace nas {

// The local time as the NAS's logs write it: 2024-05-01 12:00:00.
std::string local_time_text();

// Appends `document` as one line to `path` (created with mode 0640), whole, however many processes append at once:
// each writes under an exclusive lock on the file. Blocks while another process holds the
// lock. 0, or -1 with the file as it was.
int append_json_line(const char* path, Json document);

}  // namespace nas
