// The hosts of every cloud service, by site and region. The library's own. This is the only list of them: the
// simulated cloud is compiled with it.
#pragma once

namespace harbex::corvane {

struct SiteHosts {
    const char* site;
    const char* global;
    const char* china;  // null: the site has no entry there
};

// The cloud calls the site behind "qa" "qa-nr".
inline constexpr SiteHosts kOrgCenterHosts[] = {
    {"production", "https://org-center.harbex.example", "https://org-center.harbex-cn.example"},
    {"alpha", "https://org-center-alpha.harbex.example", "https://org-center-alpha.harbex-cn.example"},
    {"qa", "https://org-center-qa-nr.harbex.example", "https://org-center-qa-nr.harbex-cn.example"},
    {"dev", "https://org-center-dev.harbex.example", "https://org-center-dev.harbex-cn.example"},
};

inline constexpr SiteHosts kAccountCenterHosts[] = {
    {"production", "https://account-center.harbex.example", "https://account-center.harbex-cn.example"},
    {"alpha", "https://account-center-alpha.harbex.example", "https://account-center-alpha.harbex-cn.example"},
    {"qa", "https://account-center-qa-nr.harbex.example", "https://account-center-qa-nr.harbex-cn.example"},
    {"dev", "https://account-center-dev.harbex.example", "https://account-center-dev.harbex-cn.example"},
};

inline constexpr SiteHosts kCorvaneHosts[] = {
    {"production", "https://corvane-api.harbex.example", "https://corvane-api.harbex-cn.example"},
    {"alpha", "https://corvane-api-alpha.harbex.example", "https://corvane-api-alpha.harbex-cn.example"},
    {"qa", "https://corvane-api-qa-nr.harbex.example", "https://corvane-api-qa-nr.harbex-cn.example"},
    {"dev", "https://corvane-api-dev.harbex.example", "https://corvane-api-dev.harbex-cn.example"},
    {"sy", "https://corvane-api-sy.harbex.example:31521", nullptr},
};

inline constexpr SiteHosts kAuthConnectorHosts[] = {
    {"production", "https://auth-connector.harbex.example", "https://auth-connector.harbex-cn.example"},
    {"alpha", "https://auth-connector-alpha.harbex.example", "https://auth-connector-alpha.harbex-cn.example"},
    {"qa", "https://auth-connector-qa-nr.harbex.example", "https://auth-connector-qa-nr.harbex-cn.example"},
    {"dev", "https://auth-connector-dev.harbex.example", "https://auth-connector-dev.harbex-cn.example"},
};

}  // namespace harbex::corvane
