// The NAS's own network attachment.
#pragma once

#include <string>

namespace harbex::corvane {

// The label of the port at `physical_loc`: the last run of decimal digits in it, or all of it when it has none.
std::string get_ethernet_loc(const std::string& physical_loc);

}  // namespace harbex::corvane
