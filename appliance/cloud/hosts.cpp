#include "cloud/hosts.h"

#include <fstream>

namespace appliance {

bool CloudHosts::load(const std::string& file) {
    std::ifstream lines(file);
    std::string service;
    std::string host;
    int port = 0;
    while (lines >> service >> host >> port) {
        services_[host] = service;
        ports_.insert(port);
    }
    return !services_.empty();
}

std::string CloudHosts::service_of(const std::string& host) const {
    const auto found = services_.find(host);
    return found == services_.end() ? "" : found->second;
}

std::vector<std::string> CloudHosts::names() const {
    std::vector<std::string> names;
    for (const auto& [host, service] : services_)
        names.push_back(host);
    return names;
}

}  // namespace appliance
