// What a command came to.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "endings.h"

namespace harbex::tools {

// Whose result code it is: the library passes on a transfer's own code in places, and the numbers overlap.
enum class CodeOf { kLibrary, kTransfer };

// Why a command did not end with "done".
struct Cause {
    Ending ending = Ending::kDone;
    std::string sentence{};             // what happened, where, in the other side's own words
    std::string remedy{};               // what to do, "" when that is not known
    std::vector<std::string> done{};    // the steps that were done before
    std::vector<std::string> undone{};  // the failed step and those behind it
    bool is_repeatable = true;          // whether the same command may simply be typed again
};

struct Outcome {
    int code;
    CodeOf whose = CodeOf::kLibrary;
    // What the command itself knows of the cause. Without a sentence the cause is judged from the code and from what
    // was asked last.
    Cause cause{};

    Outcome(int code_, CodeOf whose_ = CodeOf::kLibrary) : code(code_), whose(whose_) {}
    Outcome(int code_, Cause cause_) : code(code_), cause(std::move(cause_)) {}
};

}  // namespace harbex::tools
