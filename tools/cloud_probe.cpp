#include "cloud_probe.h"

#include <curl/curl.h>
#include <time.h>

#include <memory>
#include <string_view>

namespace harbex::tools {
namespace {

constexpr long kTimeout_s = 6;
constexpr std::string_view kDate = "date:";
constexpr std::string_view kExpiry = "Expire date:";

struct HandleFree {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

size_t take_header(char* bytes, size_t size, size_t count, void* userdata) {
    const std::string line(bytes, size * count);
    if (curl_strnequal(line.c_str(), kDate.data(), kDate.size()) != 0) {
        const time_t date = curl_getdate(line.c_str() + kDate.size(), nullptr);
        if (date >= 0) static_cast<CloudFinding*>(userdata)->ahead_s = int64_t{time(nullptr)} - date;
    }
    return size * count;
}

// The end of the certificate that the host itself showed.
int64_t certificate_end(CURL* handle) {
    curl_certinfo* shown = nullptr;
    if (curl_easy_getinfo(handle, CURLINFO_CERTINFO, &shown) != CURLE_OK || shown == nullptr) return 0;
    if (shown->num_of_certs < 1) return 0;
    for (const curl_slist* line = shown->certinfo[0]; line != nullptr; line = line->next) {
        if (std::string_view(line->data).starts_with(kExpiry)) {
            const time_t end = curl_getdate(line->data + kExpiry.size(), nullptr);
            return end < 0 ? 0 : end;
        }
    }
    return 0;
}

CURLcode look(const std::string& url, bool is_checked, CloudFinding& finding) {
    const std::unique_ptr<CURL, HandleFree> handle(curl_easy_init());
    if (!handle) return CURLE_FAILED_INIT;
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_NOBODY, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, kTimeout_s);
    curl_easy_setopt(handle.get(), CURLOPT_CERTINFO, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, take_header);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &finding);
    char words[CURL_ERROR_SIZE] = "";
    if (is_checked) {
        curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, words);
    } else {
        curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYHOST, 0L);
    }
    const CURLcode result = curl_easy_perform(handle.get());
    if (is_checked && result != CURLE_OK) finding.words = *words != '\0' ? words : curl_easy_strerror(result);
    curl_off_t resolved_us = 0;
    curl_easy_getinfo(handle.get(), CURLINFO_NAMELOOKUP_TIME_T, &resolved_us);
    finding.has_address = resolved_us > 0;
    if (const int64_t end = certificate_end(handle.get()); end != 0) finding.certificate_end = end;
    return result;
}

}  // namespace

CloudFinding look_at_cloud(const std::string& url) {
    CloudFinding finding;
    finding.result = look(url, true, finding);
    if (finding.result == CURLE_PEER_FAILED_VERIFICATION) (void)look(url, false, finding);
    return finding;
}

std::string host_of(const std::string& url) {
    const size_t start = url.find("://");
    return start == std::string::npos ? url : url.substr(start + 3);
}

}  // namespace harbex::tools
