// The hosts that the simulated cloud answers for, and which service each of them is.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace appliance {

// A line "SERVICE HOST PORT" for every host that the product knows, the global one before China's; the service
// "Nobody" stands for hosts that exist and do not answer.
std::string list_hosts();

class CloudHosts {
public:
    // Lines "SERVICE HOST PORT". False when the file cannot be read or names no host.
    bool load(const std::string& file);
    // "" for a host that is none of the cloud's.
    std::string service_of(const std::string& host) const;
    std::vector<std::string> names() const;
    const std::set<int>& ports() const { return ports_; }

private:
    std::map<std::string, std::string> services_;
    std::set<int> ports_;
};

}  // namespace appliance
