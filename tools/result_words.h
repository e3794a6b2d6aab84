// The words for the result codes, and how a command that gave one ends.
#pragma once

#include "outcome.h"

namespace harbex::tools {

const char* result_words(const Outcome& outcome);

// How a command ends with that code, as far as the code tells.
Ending ending_of(const Outcome& outcome);

// Whether the code says that a service or the cloud was asked and failed: what was asked last tells more then.
bool concerns_others(const Outcome& outcome);

}  // namespace harbex::tools
