#include "common/openssl.h"

#include <gtest/gtest.h>

#include <openssl/err.h>

#include "support/files.h"

namespace harbex::openssl {
namespace {

constexpr char kCertificate[] = R"(-----BEGIN CERTIFICATE-----
MIIBbzCCARWgAwIBAgIUGjNjJ9TFI8M51n3L6mc9hraNEdMwCgYIKoZIzj0EAwIw
DDEKMAgGA1UEAwwBdDAgFw0yNjExMjExMDAzMjVaGA8yMTI2MTAyODEwMDMyNVow
DDEKMAgGA1UEAwwBdDBZMBMGByqGSM49AgEGCCqGSM49AwEHA0IABPEHjvMImpH+
bB6uEguy0pTBL+Dvrb5bg/MPon+ZihXCjS/2z6QjEIKeKn8Anld8Mm0FkYnwp4YO
bKTq44TuuKqjUzBRMB0GA1UdDgQWBBSChJODf9NY4R/qoH1mwn+3l6+bcjAfBgNV
HSMEGDAWgBSChJODf9NY4R/qoH1mwn+3l6+bcjAPBgNVHRMBAf8EBTADAQH/MAoG
CCqGSM49BAMCA0gAMEUCIQCKisAtDEe99Yx3D9TOcSyZ5JJ0KFdehDBl/KrWy1UL
owIgMJxKMUmmQ7ki1xSbMo7L/wTADAyC3JYXOL6PmmmbRhQ=
-----END CERTIFICATE-----
)";

constexpr char kRevocationList[] = R"(-----BEGIN X509 CRL-----
MIGmME0CAQEwCgYIKoZIzj0EAwIwDDEKMAgGA1UEAwwBdBcNMjYxMTIxMTAwMzI1
WhgPMjEyNjEwMjgxMDAzMjVaoA4wDDAKBgNVHRQEAwIBATAKBggqhkjOPQQDAgNJ
ADBGAiEAzTGaHBG0/NCDw7ZLdTXw54iAHXSayo1kr292ftzadm4CIQC3tjf4hgG2
3CLQCqz0/+tDOC2teLom0dzEZ3oax4DIUQ==
-----END X509 CRL-----
)";

TEST(Pem, IsRecognisedByWhatItHolds) {
    const std::string certificate = kCertificate;
    const struct {
        const char* name;
        std::string text;
        int is_cert;
        int is_crl;
    } cases[] = {
        {"certificate", certificate, 1, 0},
        {"revocation list", kRevocationList, 0, 1},
        {"both: each finds its own", certificate + kRevocationList, 1, 1},
        {"cut short", certificate.substr(0, certificate.size() / 2), 0, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(is_cert(c.text), c.is_cert) << c.name;
        EXPECT_EQ(is_crl(c.text), c.is_crl) << c.name;
        EXPECT_EQ(ERR_peek_error(), 0U) << c.name << ": nothing is left in the error queue";
    }
}

TEST(Base64, OfKnownTexts) {
    const struct {
        const char* text;
        std::string data;
    } both_ways[] = {
        {"", ""}, {"YQ==", "a"}, {"YWI=", "ab"}, {"YWJj", "abc"}, {"AP+A", std::string("\0\xff\x80", 3)},
    };
    for (const auto& c : both_ways) {
        EXPECT_EQ(base64_encode(c.data), c.text);
        EXPECT_EQ(base64_decode(c.text), c.data);
    }
    const struct {
        const char* name;
        const char* text;
        const char* data;
    } decoded[] = {
        {"line break inside", "YW\nJj", ""},
        {"cut short", "YWJ", ""},
    };
    for (const auto& c : decoded)
        EXPECT_EQ(base64_decode(c.text), c.data) << c.name;
}

TEST(Base64, ComesBackWholeAtAnyLength) {
    // Around the block and line sizes of the filter, and far beyond.
    for (const size_t size : {47U, 48U, 49U, 100U, 767U, 768U, 769U, 1023U, 1024U, 1025U, 5000U, 1'000'000U}) {
        std::string data;
        for (size_t i = 0; i < size; ++i)
            data += static_cast<char>(i * 7 + i / 256);
        const std::string text = base64_encode(data);
        EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
        EXPECT_EQ(text.find('\n'), std::string::npos) << size;
        EXPECT_TRUE(base64_decode(text) == data) << size;
    }
}

}  // namespace
}  // namespace harbex::openssl
