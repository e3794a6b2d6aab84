// The transfers that other programs of this NAS made, as their lines in the trace log tell: the daemon renews the
// tokens, and its answers do not say why it could not.
#pragma once

#include <cstdint>
#include <optional>

namespace harbex::tools {

struct LoggedTransfer {
    int result = 0;  // libcurl's code; 0 when an answer came
    int status = 0;  // its HTTP status
};

class TraceLogTail {
public:
    // Begins behind the last line of today.
    TraceLogTail();

    // The last failed transfer of another process since then; nothing when there is none, or no log.
    [[nodiscard]] std::optional<LoggedTransfer> failed_transfer() const;

private:
    int64_t start_ = 0;
};

}  // namespace harbex::tools
