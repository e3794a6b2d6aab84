#include "common/platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/files.h"

namespace harbex::system {
namespace {

using test::write_text;

TEST(Platform, EditionMarkersAreRegularFilesOrLinksToThem) {
    EXPECT_FALSE(is_demo());
    mkdir("/etc/IS_DEMO", 0755);
    EXPECT_FALSE(is_demo());
    rmdir("/etc/IS_DEMO");
    write_text("/tmp/marker", "");
    ASSERT_EQ(0, symlink("/tmp/marker", "/etc/IS_DEMO"));
    EXPECT_TRUE(is_demo());
    EXPECT_FALSE(is_generic());
    write_text("/etc/TESSEL_ZFS", "");
    EXPECT_TRUE(is_talon());
    EXPECT_FALSE(is_generic());
}

TEST(Platform, FactoryAndOwnerTextsComeFromTheirOwnFiles) {
    write_text("/etc/default_config/kernos.conf",
               "[System]\nModel = FM\nVersion = 5.2.0\nServer Name = factory\nRegion = factory\n");
    write_text("/etc/config/kernos.conf",
               "[System]\nModel = owner\nVersion = owner\nServer Name = My NAS\nRegion = CHN\n");
    EXPECT_STREQ("FM", get_model_name());
    EXPECT_STREQ("5.2.0", get_firmware_version());
    EXPECT_STREQ("My NAS", get_server_name());
    EXPECT_STREQ("CHN", get_server_region());
    write_text("/etc/config/kernos.conf", "[System]\nRegion = " + std::string(400, 'r') + "\n");
    EXPECT_STREQ("", get_server_name());
    EXPECT_EQ(std::string(255, 'r'), get_server_region());
}

TEST(Platform, SessionsGiveTheirUsersRights) {
    write_text("/etc/passwd",
               "root:x:0:0::/root:/bin/sh\nadmin:x:1000:100::/:/bin/sh\nguest:x:1001:100::/:/bin/sh\n");
    write_text("/etc/group", "root:x:0:\neveryone:x:100:\nadministrators:x:900:admin\n");
    write_text("/var/run/nas_sessions/s-admin", "admin\n");
    write_text("/var/run/nas_sessions/s-guest", "guest\n32503680000\n");
    write_text("/var/run/nas_sessions/s-ended", "admin\n1000\n");
    write_text("/var/run/outside", "admin\n");
    const struct {
        const char* session;
        SessionRights rights;
    } cases[] = {
        {nullptr, INVAILD_USER},   {"", INVAILD_USER},        {"unknown", INVAILD_USER}, {"../outside", INVAILD_USER},
        {"s-ended", INVAILD_USER}, {"s-guest", GENERAL_USER}, {"s-admin", ADMIN_USER},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.rights, auth_user_session(c.session)) << (c.session ? c.session : "null");
}

}  // namespace
}  // namespace harbex::system
