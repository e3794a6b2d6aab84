#include "common/url_decoding.h"

#include <climits>
#include <memory>

#include <curl/curl.h>

#include "common/error_code.h"
#include "common/releaser.h"

namespace harbex::system {
int decode_urlEncoded(std::string in, std::string& out) {
    if (in.size() > INT_MAX) return ERR_CURL_FAIL;
    const std::unique_ptr<CURL, Releaser<curl_easy_cleanup>> handle(curl_easy_init());
    if (!handle) return ERR_CURL_FAIL;
    int length = 0;
    const std::unique_ptr<char, Releaser<curl_free>> decoded(
        curl_easy_unescape(handle.get(), in.c_str(), static_cast<int>(in.size()), &length));
    if (!decoded) return ERR_CURL_FAIL;
    try {
        out.assign(decoded.get(), static_cast<size_t>(length));
    } catch (...) {  // no memory
        return ERR_CURL_FAIL;
    }
    return NO_ERROR;
}

}  // namespace harbex::system
