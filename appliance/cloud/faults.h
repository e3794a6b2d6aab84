// What the simulated cloud is told to do wrong: one file a fault, read at every connection and every request.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cloud/certificates.h"
#include "cloud/hosts.h"

namespace appliance {

struct Fault {
    enum class Kind {
        kNone,
        kAnswer,       // `status` and `body` instead of the real answer; the cloud does nothing
        kClose,        // the real answer, cut in its middle
        kReset,        // the connection is reset before TLS, or before an answer
        kCertificate,  // `certificate` instead of the valid one
        kDate,         // the real answer, with a date that is `date_skew_s` off
    };
    Kind kind = Kind::kNone;
    double delay_s = 0;
    int status = 200;
    std::string body;
    long long date_skew_s = 0;
    Certificate certificate = Certificate::kValid;
};

// `[delay:SECONDS,]KIND`; what is no fault is Kind::kNone.
Fault parse_fault(std::string_view text);

// Names of faults: `#N` (the N-th connection since the records were cleared), `HOST/PATH`, `/PATH`, `HOST`; * stands
// for any characters. When several match, the first kind in this list wins.
class Faults {
public:
    Faults(std::string directory, const CloudHosts& hosts) : directory_(std::move(directory)), hosts_(hosts) {}
    // For a connection before its request is known. A name with a path concerns every host that serves the path.
    Fault of_connection(const std::string& host, unsigned number) const;
    Fault of_request(const std::string& host, const std::string& path, unsigned number) const;

private:
    struct Entry {
        std::string name;
        std::string value;
    };
    std::vector<Entry> entries() const;
    const std::string directory_;
    const CloudHosts& hosts_;
};

}  // namespace appliance
