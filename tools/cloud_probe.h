// One look at a cloud host: name resolution, connection, certificate, clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace harbex::tools {

struct CloudFinding {
    int result = 0;                  // libcurl's code, with certificates checked
    std::string words;               // and what it says of a failure
    bool has_address = false;        // the name was resolved
    int64_t certificate_end = 0;     // since the epoch; 0 when none was shown
    std::optional<int64_t> ahead_s;  // this NAS's clock before the host's, when that told its time
};

// Asks `url` for nothing but its head, without any token. A certificate that is refused is looked at in a second,
// unchecked request. Blocks for up to 12 s.
CloudFinding look_at_cloud(const std::string& url);

// "example.org:8443" of "https://example.org:8443".
std::string host_of(const std::string& url);

}  // namespace harbex::tools
