#include "cloud/hosts.h"

#include <fstream>
#include <string_view>

#include "corvane/cloud/hosts.h"
#include "corvane/device/development_cluster.h"

namespace appliance {
namespace {

// The line of a URL without a path; none for a null one.
std::string line_of(const char* service, const char* url) {
    if (url == nullptr) return "";
    std::string_view host = url;
    host.remove_prefix(host.find("//") + 2);
    const size_t colon = host.find(':');
    const std::string_view port = colon == std::string_view::npos ? "443" : host.substr(colon + 1);
    std::string line = service;
    line.append(" ").append(host.substr(0, colon)).append(" ").append(port).append("\n");
    return line;
}

}  // namespace

std::string list_hosts() {
    using namespace harbex::corvane;
    std::string lines;
    const auto add = [&lines](const char* service, const auto& sites) {
        for (const SiteHosts& site : sites)
            lines.append(line_of(service, site.global)).append(line_of(service, site.china));
    };
    add("OrgCenter", kOrgCenterHosts);
    add("AccountCenter", kAccountCenterHosts);
    add("Corvane", kCorvaneHosts);
    add("AuthConnector", kAuthConnectorHosts);
    return lines + line_of("Nobody", kDevelopmentMessageBroker) + line_of("Nobody", kDevelopmentManagementWeb);
}

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
