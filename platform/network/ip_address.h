// An IPv4 or IPv6 address as the kernel's tables hold it.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace network {

struct IpAddress {
    int family = 0;                            // AF_INET, AF_INET6; 0: none
    std::array<unsigned char, 16> bytes = {};  // network order; IPv4 uses the first four

    [[nodiscard]] std::size_t size() const;  // 4, 16, or 0 for none
    [[nodiscard]] std::string text() const;  // "" for none
    bool operator==(const IpAddress&) const = default;
};

// The mask of `prefix` one-bits, written like an address of that family: "255.255.255.0", "ffff:ffff:ffff:ffff::".
std::string netmask_text(int family, unsigned prefix);

}  // namespace network
