#include "common/http.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <strings.h>

#include <cerrno>
#include <exception>
#include <string_view>

#include <curl/curl.h>

#include "common/error_code.h"
#include "common/last_exchange.h"
#include "common/releaser.h"
#include "common/settings_files.h"
#include "common/settings_tools.h"
#include "common/trace_statement.h"
#include "common/trusted_roots.h"

namespace harbex::system {
namespace {

constexpr long kTransferTimeout_s = 10;
constexpr size_t kMaxAnswer = size_t{16} << 20;
constexpr size_t kMaxResolverBuffer = size_t{1} << 20;

static_assert(int{kCouldNotResolveHost} == int{CURLE_COULDNT_RESOLVE_HOST});
static_assert(int{kCouldNotConnect} == int{CURLE_COULDNT_CONNECT});
static_assert(int{kTransferTimedOut} == int{CURLE_OPERATION_TIMEDOUT});

bool is_on(const Setting& debug_switch) {
    std::string value;
    (void)getcfg_wrapper(debug_switch, value);  // without memory: off
    return value == "true";
}

using HeaderList = std::unique_ptr<curl_slist, Releaser<curl_slist_free_all>>;

// A text from the cloud or a file must not smuggle a second line into a request.
bool is_one_line(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

// libcurl keeps the pointers of the list and of the body: both must outlive the transfer.
CURLcode make_header_list(const std::vector<std::string>& lines, HeaderList& list) {
    for (const std::string& line : lines) {
        if (!is_one_line(line)) return CURLE_BAD_FUNCTION_ARGUMENT;
        curl_slist* longer = curl_slist_append(list.get(), line.c_str());
        if (longer == nullptr) return CURLE_OUT_OF_MEMORY;
        (void)list.release();  // it is the head of `longer`, or was empty
        list.reset(longer);
    }
    return CURLE_OK;
}

CURLcode set_method(CURL* handle, const RestRequest& request) {
    switch (request.method) {
        case HttpMethod::kGet:
            return CURLE_OK;
        case HttpMethod::kDelete:
            return curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
        case HttpMethod::kPost:
            break;
    }
    const CURLcode result = curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.body.size()));
    return result != CURLE_OK ? result : curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.data());
}

// libcurl's progress callback: anything but 0 ends the transfer.
int end_when_too_long(void* response, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<const std::string*>(response)->size() > kMaxAnswer ? 1 : 0;
}

CURLcode limit_answer(CURL* handle, std::string& response) {
    CURLcode result = curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, end_when_too_long);
    if (result == CURLE_OK) result = curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &response);
    return result != CURLE_OK ? result : curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
}

bool is_https(const std::string& url) {
    return strncasecmp(url.c_str(), "https:", 6) == 0;
}

void check_no_certificates(CURL* handle) {
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
}

CURLcode prepare(CURL* handle, const RestRequest& request, HeaderList& headers) {
    if (!is_one_line(request.url)) return CURLE_URL_MALFORMAT;
    CURLcode result = make_header_list(request.headers, headers);
    if (result == CURLE_OK) result = curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
    if (result == CURLE_OK) result = set_method(handle, request);
    if (result == CURLE_OK) result = curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    return result;
}

}  // namespace

int easycurl(void* handle, std::string& response) {
    if (handle == nullptr) return ERR_EASYCURL_FAIL;
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, curl_memory_data);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &response);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, kTransferTimeout_s);

    const CURLcode result = curl_easy_perform(handle);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    const char* url = nullptr;
    curl_easy_getinfo(handle, CURLINFO_EFFECTIVE_URL, &url);
    note_transfer(url, result, status);
    if (result != CURLE_OK) {
        HARBEXLOG(HARBEXLOG_ERROR, "[easycurl] curl_easy_perform failed with error code: %d, %s, %s\n",
                  static_cast<int>(result), curl_easy_strerror(result), response.c_str());
        curl_easy_cleanup(handle);
        return result;
    }
    curl_easy_cleanup(handle);
    if (status < 200 || status > 299) {
        HARBEXLOG(HARBEXLOG_ERROR, "[easycurl] HTTP request failed with status code: %ld, response: %s\n", status,
                  response.c_str());
        return ERR_HTTP_ERROR;
    }
    return NO_ERROR;
}

size_t curl_memory_data(void* data, size_t size, size_t nmemb, void* userdata) {
    const size_t count = size * nmemb;
    try {
        static_cast<std::string*>(userdata)->append(static_cast<const char*>(data), count);
    } catch (const std::exception&) {  // must not cross libcurl's C frames
        return 0;
    }
    return count;
}

int set_insecure_curl(void* handle) {
    if (is_on(kInsecureCurl)) check_no_certificates(handle);
    return NO_ERROR;
}

bool is_test_flag_set() {
    return is_on(kTestMode);
}

void nslookup(const std::string& host, std::vector<std::string>& addresses) try {
    // The reentrant form: requests resolve on several threads.
    std::vector<char> buffer(1024);
    hostent entry{};
    hostent* found = nullptr;
    int reason = 0;
    while (gethostbyname_r(host.c_str(), &entry, buffer.data(), buffer.size(), &found, &reason) == ERANGE) {
        if (buffer.size() >= kMaxResolverBuffer) return;
        buffer.resize(buffer.size() * 2);
    }
    if (found == nullptr || found->h_addrtype != AF_INET) return;
    std::vector<std::string> all = addresses;
    for (char** address = found->h_addr_list; *address != nullptr; ++address) {
        char text[INET_ADDRSTRLEN] = "";
        if (inet_ntop(AF_INET, *address, text, sizeof text) != nullptr) all.emplace_back(text);
    }
    addresses.swap(all);
} catch (const std::bad_alloc&) {  // as if the resolver had failed
}

const char* transfer_result_text(int result) {
    return curl_easy_strerror(static_cast<CURLcode>(result));
}

void RestTransfer::Cleanup::operator()(void* handle) const {
    curl_easy_cleanup(handle);
}

RestTransfer::RestTransfer() : handle_(curl_easy_init()) {
    // Requests run on threads: libcurl's time-out must not use SIGALRM.
    if (handle_) curl_easy_setopt(handle_.get(), CURLOPT_NOSIGNAL, 1L);
}

int RestTransfer::honour_insecure_switch() {
    checks_certificates_ = !is_on(kInsecureCurl);
    if (!checks_certificates_) check_no_certificates(handle_.get());
    return NO_ERROR;
}

int RestTransfer::send(const RestRequest& request, std::string& response) {
    if (!handle_) return easycurl(nullptr, response);
    HeaderList headers;
    CURLcode prepared = prepare(handle_.get(), request, headers);
    if (prepared == CURLE_OK) prepared = limit_answer(handle_.get(), response);
    if (prepared != CURLE_OK) {
        HARBEXLOG(HARBEXLOG_ERROR, "request to %s cannot be made: %d, %s\n", request.url.c_str(),
                  static_cast<int>(prepared), curl_easy_strerror(prepared));
        return prepared;
    }
    const bool reads_roots = checks_certificates_ && is_https(request.url);
    const TrustedRoots roots = reads_roots ? use_trusted_roots(handle_.get()) : nullptr;
    return easycurl(handle_.release(), response);
}

}  // namespace harbex::system
