#include "endings.h"

namespace harbex::tools {
namespace {

// In the order of the enumeration. The numbers from 64 on are those of <sysexits.h>.
constexpr EndingRow kEndings[] = {
    {Ending::kDone, 0, "done", "done, or nothing had to be done"},
    {Ending::kFailed, 1, "failed", "another failure: a refused value, a check that found something, a full output"},
    {Ending::kUsage, 64, "usage", "no such command, option or argument"},
    {Ending::kServiceDown, 69, "service-down", "the daemon or another service of this NAS is not running"},
    {Ending::kInternal, 70, "internal", "something unforeseen happened in this program"},
    {Ending::kLocalFile, 74, "local-file", "a file or setting of this NAS cannot be read or written"},
    {Ending::kTimeOut, 75, "time-out", "a service or the cloud did not answer in time"},
    {Ending::kCloud, 76, "cloud", "the cloud refused, or cannot be reached"},
    {Ending::kNotSignedIn, 77, "not-signed-in", "nobody is signed in, or the sign-in has expired"},
    {Ending::kNothingChosen, 78, "nothing-chosen",
     "no organisation is chosen, or the command needs a NAS that has joined"},
};

}  // namespace

std::span<const EndingRow> endings() {
    return kEndings;
}

const EndingRow& row_of(Ending ending) {
    return kEndings[static_cast<size_t>(ending)];
}

}  // namespace harbex::tools
