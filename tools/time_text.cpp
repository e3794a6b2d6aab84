#include "time_text.h"

#include <time.h>

namespace harbex::tools {

std::string time_text(int64_t seconds_since_epoch) {
    const auto time = static_cast<time_t>(seconds_since_epoch);
    tm parts{};
    char text[64] = "";
    // A time_t of 32 bits cannot hold every number.
    if (seconds_since_epoch <= 0 || time != seconds_since_epoch || gmtime_r(&time, &parts) == nullptr ||
        strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts) == 0) {
        return "unknown";
    }
    return text;
}

}  // namespace harbex::tools
