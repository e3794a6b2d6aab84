// Why a command failed, told from its code, from what was asked last, and from the state of the sign-in.
#pragma once

#include "command.h"

namespace harbex::tools {

// Forgets what was asked before, and marks the end of the trace log: what is behind it counts.
void begin_observing();

// Gives a failed `outcome` without a sentence its cause. May block for the run of a few tools.
void explain_failure(const Command& command, Outcome& outcome);

// The outcome of `command` without the service that it needs.
Outcome without_service(const Command& command, bool is_silent);

}  // namespace harbex::tools
