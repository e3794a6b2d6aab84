#include "corvane/device/supernode.h"

#include "common/settings_files.h"
#include "support/daemon.h"
#include "support/rows.h"

namespace harbex::test {
namespace {

constexpr const char* kRunTimeFile = "/var/run/cms_config/supernode.json";
constexpr const char* kNotifications = "/var/log/notification.log";

TEST(Supernode, RecordBecomesTheRunTimeFile) {
    const std::string record =
        R"({"data":{"localTunnelIP":"10.1.0.2","extra":1,"superNodeId":"s\"1","remoteIP":"203.0.113.5",)"
        R"("remoteTunnelIP":"10.1.0.1","remoteSubnet":"10.1.0.0/16","remotePublicKey":"k/+="},"code":3})";
    const std::string written =
        "{\n    \"superNodeId\": \"s\"1\",\n    \"remoteIP\": \"203.0.113.5\",\n"
        "    \"remoteTunnelIP\": \"10.1.0.1\",\n"
        "    \"remoteSubnet\": \"10.1.0.0/16\",\n    \"remotePublicKey\": \"k/+=\",\n"
        "    \"localTunnelIP\": \"10.1.0.2\"\n}";
    write_text(kRunTimeFile, std::string(1000, 'x'));
    EXPECT_EQ(0, corvane::parse_supernode(record));
    EXPECT_EQ(written, read_text(kRunTimeFile));
    std::string damaged = record;
    EXPECT_EQ(49, corvane::parse_supernode(damaged.replace(damaged.find("\"k/+=\""), 6, "5")));
    EXPECT_EQ(written, read_text(kRunTimeFile));
}

TEST(VirtualIp, IsCheckedStoredPushedAndAnnounced) {
    const std::string old_ip = "[Join Corvane]\nvirtual_ip = 10.8.0.5\n";
    const std::string new_ip = "[Join Corvane]\nvirtual_ip = 10.8.0.9\n";
    const std::string steps[] = {"UpdateNetworkInterfaces", "ResetVirtualInterface"};
    const struct {
        const char* clash;  // the manager's verdict
        int code;
        std::string stored;
        bool pushed;  // to the daemon
    } cases[] = {{"1", 50, old_ip, false},
                 {"0", 60, new_ip, true},  // the daemon fails at its second step
                 {"0", 0, new_ip, true}};
    std::filesystem::remove(kNotifications);
    for (const auto& c : cases) {
        ScriptedService<0> manager("NetworkService");
        ScriptedService<1> daemon("corvane_expressd");
        manager.answer("api.check_network_intersect", R"({"error":)" + std::string(c.clash) + "}");
        daemon.answer(steps[0], "not read");
        if (c.code == 0) daemon.answer(steps[1], "");
        write_text(system::kCorvaneConf, old_ip);
        EXPECT_EQ(c.code, corvane::modify_virtual_ip("10.8.0.9"));
        EXPECT_EQ(c.stored, read_text(system::kCorvaneConf)) << c.code;
        const std::vector<ScriptedService<1>::Call> pushed = {{steps[0], ""}, {steps[1], ""}};
        EXPECT_EQ(c.pushed ? pushed : std::vector<ScriptedService<1>::Call>(), daemon.calls()) << c.code;
    }
    // Of all these changes the last alone is announced.
    ASSERT_TRUE(wait_until([] { return !read_text(kNotifications).empty(); }));
    const std::string sent = read_text(kNotifications);
    EXPECT_NE(std::string::npos, sent.find("Virtual IP from 10.8.0.5 to 10.8.0.9.\"")) << sent;
    EXPECT_EQ(sent.size() - 1, sent.find('\n'));
}

}  // namespace
}  // namespace harbex::test
