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
    const std::string secret(32, 's');
    const std::pair<const char*, const char*> cases[] = {
        {"app_id=iiiiiiiiiiiiiiiiiiiiiiii", ""},
        {"app_id=iii", "app_id must have 24 characters"},
        {"app_id=iiiiiiiiiiiiiiiiiiiiii i", "letters, digits and signs"}};
    for (const auto& [id, reason] : cases) {
        test::write_text("/tmp/credentials", std::string(id) + "\r\napp_secret=" + secret + "\r\nprovider=ppp\r\n");
        std::filesystem::remove("/tmp/tables.cpp");
        const test::Finished run = test::run_program({CMAKE_PROGRAM, "-DHARBEX_CREDENTIALS=/tmp/credentials",
                                                      "-DOUTPUT=/tmp/tables.cpp", "-P", CREDENTIALS_SCRIPT});
        EXPECT_EQ(run.status == 0, *reason == '\0') << id << run.err;
        EXPECT_EQ(std::filesystem::exists("/tmp/tables.cpp"), *reason == '\0') << id;
        EXPECT_NE(run.err.find(reason), std::string::npos) << id << run.err;
        EXPECT_EQ((run.out + run.err).find("sss"), std::string::npos) << id << run.err;
    }
}

}  // namespace
}  // namespace harbex::corvane
