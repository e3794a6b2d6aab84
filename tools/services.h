// The services of this NAS that harbexctl talks to, and whether one lives.
#pragma once

#include "common/service_names.h"

namespace harbex::tools {

enum class Life { kUp, kDown, kSilent };

// Calls a method that no service has: it answers at once, or is not there. Blocks for at most `timeout_s`.
Life probe(const char* service, int timeout_s);

// "the daemon harbex_network_service", for sentences.
const char* name_for_people(const char* service);
// "up", "down" or "silent".
const char* word_for(Life life);

}  // namespace harbex::tools
