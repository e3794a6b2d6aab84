// Times for people.
#pragma once

#include <cstdint>
#include <string>

namespace harbex::tools {

// "2026-11-22 03:00:00 UTC"; "unknown" for 0 and for what no calendar holds.
std::string time_text(int64_t seconds_since_epoch);

}  // namespace harbex::tools
