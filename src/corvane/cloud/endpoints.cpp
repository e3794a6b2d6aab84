#include "corvane/cloud/endpoints.h"

#include <algorithm>
#include <cctype>
#include <span>

#include "common/error_code.h"
#include "common/trace_log.h"
#include "corvane/cloud/hosts.h"
#include "corvane/device/failure.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

void lower_case(std::string& text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(tolower(letter)); });
}

// What `reader` reads, in lower case, or `fallback` when it fails.
std::string read_or(int (*reader)(std::string&), const char* fallback) {
    std::string text;
    if (reader(text) != NO_ERROR) text = fallback;
    lower_case(text);
    return text;
}

std::string api_url(std::span<const SiteHosts> hosts, const std::string& path, bool use_developer_site) try {
    std::map<std::string, std::string> global_table;
    std::map<std::string, std::string> china_table;
    for (const SiteHosts& row : hosts) {
        global_table[row.site] = row.global;
        if (row.china != nullptr) china_table[row.site] = row.china;
    }
    return choose_api_url(global_table, china_table, path, use_developer_site);
} catch (...) {
    return short_of_memory(std::string());
}

}  // namespace

std::string choose_api_url(std::map<std::string, std::string>& global_table,
                           std::map<std::string, std::string>& china_table, std::string path,
                           bool use_developer_site) try {
    std::string site = read_or(use_developer_site ? get_zdevelop_site : get_corvane_site, "production");
    const std::string region = read_or(get_global_or_china, "glb");
    if (!global_table.contains(site)) {
        HARBEXLOG(HARBEXLOG_ERROR, "Invalid site: %s\n", site.c_str());
        site = "production";
    }
    std::string url = (region == "glb" ? global_table : china_table)[site] + path;
    HARBEXLOG(HARBEXLOG_DEBUG, "Request URL: %s\n", url.c_str());
    return url;
} catch (...) {
    return short_of_memory(std::string());
}

std::string get_org_center_api_url(std::string path) {
    return api_url(kOrgCenterHosts, path, true);
}

std::string get_account_center_api_url(std::string path) {
    return api_url(kAccountCenterHosts, path, true);
}

std::string get_corvane_api_url(std::string path) {
    return api_url(kCorvaneHosts, path, false);
}

std::string get_auth_connector_api_url(std::string path) {
    return api_url(kAuthConnectorHosts, path, true);
}

}  // namespace harbex::corvane
