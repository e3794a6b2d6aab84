// An operation of several steps: what it would do, what it is doing, and what was done when it failed.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "command.h"

namespace harbex::tools {

// Tells each step on standard error as it begins: on a terminal always, elsewhere with --verbose.
class Steps {
public:
    Steps(std::vector<std::string> names, const Call& call);

    // The next step begins; the one before is done.
    void begin();
    // The cause with the steps that were done and those that were not, the current one first among them. A cause that
    // lists parts of the current step keeps them in their places.
    Cause failed(Cause cause) const;

private:
    std::vector<std::string> names_;
    bool is_told_;
    size_t begun_ = 0;
};

// A row of what a dry run shows.
struct PlannedStep {
    const char* kind;  // "request", "write", "script"
    std::string what;
};
Outcome show_plan(Call& call, const std::vector<PlannedStep>& plan);

// What the daemon asks of the cloud first, when it has to.
PlannedStep token_renewal();

}  // namespace harbex::tools
