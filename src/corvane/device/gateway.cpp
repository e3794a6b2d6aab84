#include "corvane/device/gateway.h"

#include <string_view>

namespace harbex::corvane {

std::string get_ethernet_loc(const std::string& physical_loc) {
    constexpr std::string_view kDigits = "0123456789";
    const size_t last = physical_loc.find_last_of(kDigits);
    if (last == std::string::npos) return physical_loc;
    const size_t before = physical_loc.find_last_not_of(kDigits, last);
    const size_t first = before == std::string::npos ? 0 : before + 1;
    return physical_loc.substr(first, last - first + 1);
}

}  // namespace harbex::corvane
