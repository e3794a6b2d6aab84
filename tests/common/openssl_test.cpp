#include "common/openssl.h"

#include <openssl/err.h>

#include "common/in_folder.h"

namespace harbex::openssl {
namespace {

constexpr char kRevocationList[] = R"(-----BEGIN X509 CRL-----
MIGmME0CAQEwCgYIKoZIzj0EAwIwDDEKMAgGA1UEAwwBdBcNMjYxMTIxMTAwMzI1
WhgPMjEyNjEwMjgxMDAzMjVaoA4wDDAKBgNVHRQEAwIBATAKBggqhkjOPQQDAgNJ
ADBGAiEAzTGaHBG0/NCDw7ZLdTXw54iAHXSayo1kr292ftzadm4CIQC3tjf4hgG2
3CLQCqz0/+tDOC2teLom0dzEZ3oax4DIUQ==
-----END X509 CRL-----
)";

TEST(Pem, IsRecognisedByWhatItHolds) {
    const std::string certificate = test::self_signed_certificate();
    EXPECT_EQ(is_cert(certificate), 1);
    EXPECT_EQ(is_crl(certificate), 0);
    EXPECT_EQ(is_cert(kRevocationList), 0);
    EXPECT_EQ(is_crl(kRevocationList), 1);
    EXPECT_EQ(ERR_peek_error(), 0U) << "nothing is left in the error queue";
}

using VersionNumber = test::InFolder;

TEST_F(VersionNumber, IsReadFromTheTool) {
    const std::string tool = folder_ / "openssl";
    test::write_text(tool, "");
    if (test::run_program({"/usr/bin/mount", "--bind", tool, "/usr/bin/openssl"}).status != 0)
        GTEST_SKIP() << "this machine lets nobody replace the tool";
    for (const auto& [script, number] : {std::pair("echo OpenSSL 3.0.2 15 Mar 2022 #; exit 3", 30'002'000),
                                         {"[ $1 = version ] && echo Other 1.2", -1}}) {
        test::write_text(tool, std::string("#!/bin/sh\n") + script + "\n");
        std::filesystem::permissions(tool, std::filesystem::perms(0755));
        EXPECT_EQ(version_num(), number) << script;
    }
    EXPECT_EQ(test::run_program({"/usr/bin/umount", "/usr/bin/openssl"}).status, 0);
}

TEST(Encoding, ComesBackWholeAtAnyLength) {
    EXPECT_EQ(sha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d") << "in lower case";
    EXPECT_EQ(base64_encode(std::string("\0\xff\x80", 3)), "AP+A");
    EXPECT_EQ(base64_decode("YW\nJj"), "") << "line break inside";
    EXPECT_EQ(base64_encode("") + base64_decode(""), "");
    std::string data;
    for (size_t i = 0; i < 1'000'001; ++i)
        data += static_cast<char>(i * 7 + i / 256);
    const std::string text = base64_encode(data);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_TRUE(base64_decode(text) == data);
}

}  // namespace
}  // namespace harbex::openssl
