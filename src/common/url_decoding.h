// Percent-decoding. Its name is published, in common/config_store.h.
#pragma once

#include <string>

namespace harbex::system {

// Percent-decoding; "+" stays as it is, a decoded NUL is kept. NO_ERROR, or ERR_CURL_FAIL with `out` untouched.
[[nodiscard]] int decode_urlEncoded(std::string in, std::string& out);

}  // namespace harbex::system
