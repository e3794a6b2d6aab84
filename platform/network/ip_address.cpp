#include "ip_address.h"

#include <arpa/inet.h>

namespace network {

std::size_t IpAddress::size() const {
    return family == AF_INET ? 4 : family == AF_INET6 ? 16 : 0;
}

std::string IpAddress::text() const {
    char buffer[INET6_ADDRSTRLEN];
    return size() != 0 && inet_ntop(family, bytes.data(), buffer, sizeof buffer) != nullptr ? buffer : "";
}

std::string netmask_text(int family, unsigned prefix) {
    IpAddress mask{family, {}};
    for (std::size_t bit = 0; bit < prefix && bit < mask.size() * 8; ++bit)
        mask.bytes.at(bit / 8) = static_cast<unsigned char>(mask.bytes.at(bit / 8) | 0x80U >> bit % 8);
    return mask.text();
}

}  // namespace network
