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

TEST(Credentials, AreRefusedWithTheReasonButWithoutTheValues) {
    const std::string id(24, 'i');
    const std::string secret(32, 's');
    const std::string rest = "\napp_secret=" + secret + "\nprovider=ppp\n";
    const struct {
        const char* name;
        std::string text;
        const char* reason;  // empty: accepted
    } cases[] = {
        {"line ends of another system", "app_id=" + id + "\r\napp_secret=" + secret + "\r\nprovider=ppp\r\n", ""},
        {"its own name in front", "app_id=app_id=" + id.substr(7) + rest, ""},
        {"comments and empty lines", "# s; one [\n\napp_id=" + id + rest + " \t# app_id=two\n\n", ""},
        {"short id", "app_id=iii" + rest, "app_id must have 24 characters"},
        {"a blank", "app_id=" + id + "\napp_secret=" + secret + "\nprovider=p p\n", "letters, digits and signs"},
        {"two secrets", "app_secret=" + secret + "\napp_secret=" + secret + "\nprovider=ppp\n", "given once"},
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
}

}  // namespace
}  // namespace harbex::corvane
