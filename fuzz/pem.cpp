// Texts that may be certificates or revocation lists.
#include "common/openssl.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    const std::string text(input);
    (void)harbex::openssl::is_cert(text);
    (void)harbex::openssl::is_crl(text);
    const std::string back = harbex::openssl::base64_decode(harbex::openssl::base64_encode(text));
    require(back == text, "what was encoded is decoded");
    (void)harbex::openssl::base64_decode(text);
}
