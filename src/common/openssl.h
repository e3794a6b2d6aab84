// Certificates, digests and Base64 over libcrypto. No operation reports a cause of failure. Published.
#pragma once

#include <string>

namespace harbex::openssl {

// 1 when `text` holds a PEM certificate revocation list, else 0.
int is_crl(const std::string& text);
// 1 when `text` holds a PEM X.509 certificate whose public key can be read, else 0.
int is_cert(const std::string& text);

// The version that /usr/bin/openssl, the tool, reports: major * 10,000,000 + minor * 10,000 + patch * 1,000. -1 when
// it cannot be run or its first output is no version. Blocks until the tool has ended.
int version_num();

// 40 lower-case hexadecimal digits.
std::string sha1(const std::string& data);

// Standard Base64 with padding, in one line.
std::string base64_encode(const std::string& data);
// The bytes of one line of Base64 (a line break at its end is allowed); line breaks inside or foreign characters give
// a short or empty result.
std::string base64_decode(const std::string& text);

}  // namespace harbex::openssl
