// HTTP requests: one request from its parts, the transfer of a prepared handle, and the switches of the settings
// file. easycurl, curl_memory_data, set_insecure_curl, is_test_flag_set and nslookup are published, the rest is the
// library's own.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace harbex::system {

// Runs the transfer that `handle` (a libcurl easy handle) was prepared for and appends the body to `response`. Takes
// the handle over and releases it; header lists and bodies attached to it stay the caller's, to be freed afterwards.
// Blocks for at most 10 s, follows a redirect only if the caller set that option, tries once. Returns NO_ERROR for a
// status of 200 to 299, ERR_HTTP_ERROR for any other status (`response` holds that body), ERR_EASYCURL_FAIL for a
// null handle, else libcurl's own result code as it is. Failures but the null handle are logged.
[[nodiscard]] int easycurl(void* handle, std::string& response);

// libcurl write callback: appends to the std::string at `userdata`. Returns the bytes taken, 0 when memory is short.
size_t curl_memory_data(void* data, size_t size, size_t nmemb, void* userdata);

// Switches certificate checks off on `handle` when "Debug"/"InsecureCurl" is exactly "true". Always 0.
[[nodiscard]] int set_insecure_curl(void* handle);

// Whether "Debug"/"Enable" is exactly "true": callers then use test endpoints.
bool is_test_flag_set();

// Appends the IPv4 addresses of `host` in the resolver's order as dotted quads; leaves `addresses` alone on any
// failure.
void nslookup(const std::string& host, std::vector<std::string>& addresses);

// The transport results that callers tell apart, as libcurl numbers them.
enum TransferResult : int { kCouldNotResolveHost = 6, kCouldNotConnect = 7, kTransferTimedOut = 28 };
// libcurl's text for one of its result codes. Never null.
const char* transfer_result_text(int result);

enum class HttpMethod { kGet, kPost, kDelete };

// One REST request. Header lines go out in this order, as they are, behind the Host and Accept lines of libcurl; one
// without a value is left out by libcurl. The body goes out raw, with a POST only.
struct RestRequest {
    HttpMethod method = HttpMethod::kGet;
    std::string url;
    std::vector<std::string> headers;
    std::string body;
};

// The handle of one request from its making until `easycurl` takes it over; it serves one send.
class RestTransfer {
public:
    RestTransfer();
    // False when libcurl could not make a handle.
    explicit operator bool() const { return handle_ != nullptr; }
    // Lets the InsecureCurl switch decide about certificate checks; without this call they are always on.
    // Always NO_ERROR.
    [[nodiscard]] int honour_insecure_switch();
    // Sends `request` and returns what easycurl returns: libcurl's 42, too, for an answer that makes `response`
    // longer than 16 MiB and is cut off there. Or libcurl's code for a request it cannot be given (a line break or
    // NUL byte in URL or header line, no memory), which is logged and not sent.
    [[nodiscard]] int send(const RestRequest& request, std::string& response);

private:
    struct Cleanup {
        void operator()(void* handle) const;
    };
    std::unique_ptr<void, Cleanup> handle_;
    bool checks_certificates_ = true;
};

}  // namespace harbex::system
