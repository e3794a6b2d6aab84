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
    test::write_text("/tmp/credentials", "app_id=iii\napp_secret=" + std::string(32, 's') + "\nprovider=ppp\n");
    const test::Finished run = test::run_program({CMAKE_PROGRAM, "-DHARBEX_CREDENTIALS=/tmp/credentials",
                                                  "-DOUTPUT=/tmp/tables.cpp", "-P", CREDENTIALS_SCRIPT});
    EXPECT_NE(0, run.status);
    EXPECT_FALSE(std::filesystem::exists("/tmp/tables.cpp"));
    EXPECT_NE(run.err.find("app_id must have 24 characters"), std::string::npos) << run.err;
    EXPECT_EQ((run.out + run.err).find("sss"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace harbex::corvane
