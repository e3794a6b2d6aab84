// One look at a cloud host: name resolution, connection, certificate, clock.
#pragma once

#include <cstdint>
#include <string>

namespace harbex::tools {

struct CloudFinding {
    int result = 0;               // libcurl's code, with certificates checked
    int64_t certificate_end = 0;  // since the epoch; 0 when none was shown
    int64_t date = 0;             // the host's clock; 0 when it did not tell
};

// Asks `url` for nothing but its head, without any token. A certificate that is refused is looked at in a second,
// unchecked request. Blocks for up to 12 s.
CloudFinding look_at_cloud(const std::string& url);

}  // namespace harbex::tools
