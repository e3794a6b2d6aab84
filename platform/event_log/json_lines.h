// Append-only logs of one JSON document a line, shared by many processes.
#pragma once

#include <jansson.h>

#include <string>

namespace nas {

// A JSON string of `text`; bytes that are no UTF-8 (a text cut in the middle of a character, say) become '?'. Owned
// by the caller.
json_t* json_text(const std::string& text);

// The local time as the NAS's logs write it: 2024-05-01 12:00:00.
std::string local_time_text();

// Appends `document` as one line to `path` (created with mode 0640), whole, however many processes append at once:
// each writes under an exclusive lock on the file. Takes the reference over. Blocks while another process holds the
// lock. 0, or -1 with the file as it was.
int append_json_line(const char* path, json_t* document);

}  // namespace nas
