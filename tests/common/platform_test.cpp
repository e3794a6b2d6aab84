#include "common/platform.h"

#include <gtest/gtest.h>

#include "support/files.h"

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
