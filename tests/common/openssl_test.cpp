#include "common/openssl.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

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

// The certificate with a key of a kind that does not exist.
std::string certificate_with_unreadable_key() {
    std::string der;
    std::istringstream lines(kCertificate);
    std::string base64;
    for (std::string line; std::getline(lines, line);)
        if (line[0] != '-') base64 += line;
    der = base64_decode(base64);
    const std::string ec_public_key("\x2a\x86\x48\xce\x3d\x02\x01", 7);
    der.replace(der.find(ec_public_key), 7, "\x2a\x86\x48\xce\x3d\x02\x7f");
    base64 = base64_encode(der);
    std::string pem = "-----BEGIN CERTIFICATE-----\n";
    for (size_t at = 0; at < base64.size(); at += 64)
        pem += base64.substr(at, 64) + "\n";
    return pem + "-----END CERTIFICATE-----\n";
}

std::string encrypted(std::string pem) {
    return pem.insert(pem.find('\n') + 1,
                      "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,00112233445566778899AABBCCDDEEFF\n\n");
}

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
        {"words before it", "subject=t\n" + certificate, 1, 0},
        {"unreadable key", certificate_with_unreadable_key(), 0, 0},
        {"cut short", certificate.substr(0, certificate.size() / 2), 0, 0},
        {"encrypted: no question is asked", encrypted(certificate), 0, 0},
        {"encrypted list", encrypted(kRevocationList), 0, 0},
        {"nothing", "", 0, 0},
        {"no PEM", "hello", 0, 0},
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
        {"line break at the end", "YWJj\n", "abc"},
        {"line break inside", "YW\nJj", ""},
        {"line break first", "\nYWJj", ""},
        {"foreign characters", "Y!J*", ""},
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

TEST(Digest, OfKnownTexts) {
    EXPECT_EQ(sha1(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(sha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_NE(sha1(std::string("a\0b", 3)), sha1("a")) << "a zero byte is a byte";
}

// Puts a script in the tool's place, which is on a read-only file system.
class VersionTool : public testing::Test {
protected:
    static bool answer_with(const std::string& script) {
        test::write_text("/tmp/openssl", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions("/tmp/openssl", std::filesystem::perms(0755));
        return mount("/tmp/openssl", "/usr/bin/openssl", nullptr, MS_BIND, nullptr) == 0;
    }
    static void put_back() { umount2("/usr/bin/openssl", MNT_DETACH); }
};

TEST_F(VersionTool, IsReadAndWeighed) {
    const struct {
        const char* name;
        const char* script;
        int number;
    } cases[] = {
        {"three numbers", "echo OpenSSL 3.0.2 15 Mar 2022", 30'002'000},
        {"letters behind", "echo 'OpenSSL 1.0.2k-fips  26 Jan 2017'", 10'002'000},
        {"asked for its version", "echo X $1.2.3", -1},
        {"the word asked", "[ $# = 1 ] && [ $1 = version ] && echo X 1.1.1", 10'011'000},
        {"two numbers", "echo OpenSSL 3.0", -1},
        {"no first word", "echo 3.0.2", -1},
        {"nothing", "exit 1", -1},
        {"out of range", "echo OpenSSL 400.0.0", -1},
        {"far more than is read", "echo X 1.2.3; yes | head -c 1000000", 10'023'000},
    };
    for (const auto& c : cases) {
        if (!answer_with(c.script)) GTEST_SKIP() << "no file can be laid over the tool here";
        EXPECT_EQ(version_num(), c.number) << c.name;
        put_back();
    }
    EXPECT_GE(version_num(), 10'000'000) << "the real tool";
}

}  // namespace
}  // namespace harbex::openssl
