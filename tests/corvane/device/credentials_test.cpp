#include "corvane/device/credentials.h"

#include <gtest/gtest.h>

#include "support/files.h"
#include "support/run_program.h"

namespace harbex::corvane {
namespace {

TEST(Credentials, OfTheFileComeBackSignForSign) {
    EXPECT_EQ(get_provider(), "P;}");
    EXPECT_EQ(get_app_id(), "$(id)\"\\${x}@y@;#//[a]=b=");
    EXPECT_EQ(get_app_secret(), "~!@#$%^&*()_+{}|:<>?-=[]\\;',./`0");
}

TEST(Credentials, AreUnscrambledByIndexAndKey) {
    const unsigned char table[] = {0x3C ^ 'a', 0x3C ^ 'b' ^ 1, 0x3C};
    EXPECT_EQ(deobfuscate(table, 3, 0x3C), "ab\x02");
    EXPECT_EQ(deobfuscate(table, 0, 0x3C), "");
    const std::string zeros(258, '\0');
    const std::string text = deobfuscate(reinterpret_cast<const unsigned char*>(zeros.data()), zeros.size(), 0);
    EXPECT_EQ(text[255], '\xff');
    EXPECT_EQ(text[257], 1) << "the low byte of the index";
}

TEST(Credentials, AreRefusedWithTheReasonButWithoutTheValues) {
    const std::string id(24, 'i');
    const std::string secret(32, 's');
    const std::string good = "app_id=" + id + "\napp_secret=" + secret + "\nprovider=ppp\n";
    const struct {
        const char* name;
        std::string text;
        const char* reason;  // empty: accepted
    } cases[] = {
        {"good", good, ""},
        {"line ends of another system", "app_id=" + id + "\r\napp_secret=" + secret + "\r\nprovider=ppp\r\n", ""},
        {"no last line end", good.substr(0, good.size() - 1), ""},
        {"short id", "app_id=iii\napp_secret=" + secret + "\nprovider=ppp\n", "app_id must have 24 characters"},
        {"long secret", "app_id=" + id + "\napp_secret=" + secret + "s\nprovider=ppp\n",
         "app_secret must have 32 characters"},
        {"empty provider", "app_id=" + id + "\napp_secret=" + secret + "\nprovider=\n",
         "provider must have 3 characters"},
        {"a blank", "app_id=" + id + "\napp_secret=" + secret + "\nprovider=p p\n", "letters, digits and signs"},
        {"two secrets", "app_secret=" + secret + "\napp_secret=" + secret + "\nprovider=ppp\n", "given once"},
        {"a line too many", good + "more=1\n", "three lines"},
        {"nothing", "", "three lines"},
    };
    for (const auto& c : cases) {
        test::write_text("/tmp/credentials", c.text);
        std::filesystem::remove("/tmp/tables.cpp");
        const test::Finished run = test::run_program({CMAKE_PROGRAM, "-DHARBEX_CREDENTIALS=/tmp/credentials",
                                                      "-DOUTPUT=/tmp/tables.cpp", "-P", CREDENTIALS_SCRIPT});
        const bool good_file = *c.reason == '\0';
        EXPECT_EQ(run.status == 0, good_file) << c.name << run.err;
        EXPECT_EQ(std::filesystem::exists("/tmp/tables.cpp"), good_file) << c.name;
        EXPECT_NE(run.err.find(c.reason), std::string::npos) << c.name << run.err;
        EXPECT_EQ((run.out + run.err).find("sss"), std::string::npos) << c.name << run.err;
    }
    const test::Finished run = test::run_program(
        {CMAKE_PROGRAM, "-DHARBEX_CREDENTIALS=/tmp", "-DOUTPUT=/tmp/tables.cpp", "-P", CREDENTIALS_SCRIPT});
    EXPECT_NE(run.err.find("there is no file /tmp"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace harbex::corvane
