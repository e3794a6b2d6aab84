// The certificates of the simulated cloud, made when it starts: an authority of its own, and under it one certificate
// for all hosts, one like it that has expired, and one for another name.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <vector>

namespace appliance {

enum class Certificate { kValid, kExpired, kOtherName };

class Certificates {
public:
    // False when libcrypto refuses a step.
    bool make(const std::vector<std::string>& hosts);
    // The authority, as the text that goes into a bundle of trusted ones.
    const std::string& authority() const { return authority_; }
    SSL_CTX* context(Certificate kind) const { return contexts_[static_cast<size_t>(kind)].get(); }

private:
    struct ContextRelease {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    };
    std::string authority_;
    std::unique_ptr<SSL_CTX, ContextRelease> contexts_[3];
};

}  // namespace appliance
