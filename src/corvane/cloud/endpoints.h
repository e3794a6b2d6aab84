// The URL of a cloud service for the site and region this NAS is set to. Published. Each function runs a tool of the
// NAS two or three times; without memory the URL is empty.
#pragma once

#include <map>
#include <string>

namespace harbex::corvane {

// The base URL of the chosen site from the table of the chosen region, followed by `path` as it is. An unknown site
// is logged and replaced by "production"; whether a site is known is asked of `global_table` only, so a site without
// an entry in `china_table` gets an empty one there and gives `path` alone.
std::string choose_api_url(std::map<std::string, std::string>& global_table,
                           std::map<std::string, std::string>& china_table, std::string path,
                           bool use_developer_site);

// `path` at the organisation centre of the developer package's site.
std::string get_org_center_api_url(std::string path);
// `path` at the account centre of the developer package's site.
std::string get_account_center_api_url(std::string path);
// `path` at the authentication connector of the developer package's site.
std::string get_auth_connector_api_url(std::string path);
// `path` at the SD-WAN management of the site this NAS enrolled at.
std::string get_corvane_api_url(std::string path);

}  // namespace harbex::corvane
