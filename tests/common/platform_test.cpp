#include "common/platform.h"

#include "common/in_folder.h"

namespace harbex::system {
namespace {

using test::write_text;

TEST(Platform, SessionsGiveTheirUsersRights) {
    write_text("/etc/passwd",
               "root:x:0:0::/root:/bin/sh\nadmin:x:1000:100::/:/bin/sh\nguest:x:1001:100::/:/bin/sh\n");
    write_text("/etc/group", "root:x:0:\neveryone:x:100:\nadministrators:x:900:admin\n");
    write_text("/var/run/nas_sessions/s-admin", "admin\n");
    write_text("/var/run/nas_sessions/s-guest", "guest\n32503680000\n");
    write_text("/var/run/nas_sessions/s-ended", "admin\n1000\n");
    write_text("/var/run/outside", "admin\n");
    EXPECT_EQ(INVAILD_USER, auth_user_session(nullptr));
    for (const auto& [session, rights] : {std::pair("../outside", INVAILD_USER),
                                          {"s-ended", INVAILD_USER},
                                          {"s-guest", GENERAL_USER},
                                          {"s-admin", ADMIN_USER}})
        EXPECT_EQ(rights, auth_user_session(session)) << session;
}

TEST(Platform, MarkersAreRegularFilesBehindLinksToo) {
    for (const auto& [marker, is_found] :
         {std::pair("/etc/IS_DEMO", &is_demo), {"/etc/IS_GENERIC", &is_generic}, {"/etc/TESSEL_ZFS", &is_talon}}) {
        fs::create_directory(marker);
        EXPECT_FALSE(is_found()) << marker << " as a directory";
        fs::remove(marker);
        fs::create_symlink("/etc/hosts", marker);
        EXPECT_TRUE(is_found()) << marker << " as a link";
        fs::remove(marker);
    }
}

TEST(Platform, TextsComeFromTheirOwnFile) {
    const char* const files[] = {"/etc/config/kernos.conf", "/etc/default_config/kernos.conf"};
    for (const std::string file : files)
        write_text(file, "[System]\nModel = M " + file + "\nServer Name = S " + file + "\nVersion = V " + file +
                             "\nRegion = R " + file + "\n");
    EXPECT_STREQ(get_server_name(), "S /etc/config/kernos.conf");
    EXPECT_STREQ(get_server_region(), "R /etc/config/kernos.conf");
    EXPECT_STREQ(get_model_name(), "M /etc/default_config/kernos.conf");
    EXPECT_STREQ(get_firmware_version(), "V /etc/default_config/kernos.conf");
}

}  // namespace
}  // namespace harbex::system
