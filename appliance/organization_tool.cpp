// The NAS's organisation tool: asks the cloud's organisation centre for an organisation's sites.
#include <curl/curl.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "nas_config.h"

namespace {

// Lines "SERVICE HOST PORT"; of each service, the production site's global host is first, China's second.
constexpr const char* kHosts = "/run/appliance/cloud/hosts";
constexpr long kTimeout_s = 10;

int usage() {
    std::fprintf(stderr, "usage: vellum_organization_tool get_organization_site_list -o ORGANIZATION -a TOKEN\n");
    return 64;
}

size_t collect(char* bytes, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, size * count);
    return size * count;
}

std::string centre() {
    char region[16];
    Get_Private_Profile_String("Brindle ID Service", "REGION", "GLB", region, sizeof(region),
                               "/etc/config/harbex/bid.conf");
    int before = std::string_view(region) == "GLB" ? 0 : 1;
    std::ifstream lines(kHosts);
    std::string service;
    std::string host;
    for (std::string port; lines >> service >> host >> port;)
        if (service == "OrgCenter" && before-- == 0) return "https://" + host;
    return "";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6 || std::string_view(argv[1]) != "get_organization_site_list") return usage();
    std::string organization;
    std::string token;
    for (int at = 2; at < argc; at += 2) {
        const std::string_view option = argv[at];
        if (option == "-o") {
            organization = argv[at + 1];
        } else if (option == "-a") {
            token = argv[at + 1];
        } else {
            return usage();
        }
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
    curl_slist* lines = curl_slist_append(nullptr, "accept: application/json");
    lines = curl_slist_append(lines, ("Authorization: Bearer " + token).c_str());
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(lines, &curl_slist_free_all);
    std::string body;
    const std::string url = centre() + "/v1.2/organization/" + organization + "/site";
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, kTimeout_s);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &body);
    const CURLcode result = curl_easy_perform(curl.get());
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    if (result != CURLE_OK || status != 200) {
        std::fprintf(stderr, "vellum_organization_tool: %s (status %ld)\n", curl_easy_strerror(result), status);
        return 1;
    }
    std::puts(body.c_str());
    return 0;
}
