// Why a command failed, told from its code, from what was asked last, and from the state of the sign-in.
#pragma once

#include "command.h"

namespace harbex::tools {

// Forgets what was asked before, and marks the end of the trace log: what is behind it counts.
void begin_observing();

// Gives a failed `outcome` without a sentence its cause. May block for the run of a few tools.
void explain_failure(const Command& command, Outcome& outcome);

// Whether `service` answers: NO_ERROR, or a failure with `code` that says so. Blocks for 6 s at most.
Outcome check_service(const char* service, int code);

// The failure of a command that needs a NAS that has joined.
Outcome not_joined(int code);

}  // namespace harbex::tools
