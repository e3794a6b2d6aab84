// How a run of harbexctl can end: one table for the exit status, the word in the document, and the manual.
#pragma once

#include <span>

namespace harbex::tools {

enum class Ending {
    kDone,
    kFailed,
    kUsage,
    kServiceDown,
    kInternal,
    kLocalFile,
    kTimeOut,
    kCloud,
    kNotSignedIn,
    kNothingChosen,
};

struct EndingRow {
    Ending ending;
    int status;  // the program's
    const char* word;
    const char* meaning;
};

std::span<const EndingRow> endings();
const EndingRow& row_of(Ending ending);

}  // namespace harbex::tools
