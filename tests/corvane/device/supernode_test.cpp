#include "corvane/device/supernode.h"

#include <optional>

#include "common/settings_files.h"
#include "support/daemon.h"
#include "support/rows.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRunTimeFile = "/var/run/cms_config/supernode.json";
constexpr const char* kNotifications = "/var/log/notification.log";
constexpr const char* kRecord =
    R"({"data":{"localTunnelIP":"10.1.0.2","extra":1,"superNodeId":"s\"1","remoteIP":"203.0.113.5",)"
    R"("remoteTunnelIP":"10.1.0.1","remoteSubnet":"10.1.0.0/16","remotePublicKey":"k/+="},"code":3})";

TEST(Supernode, RecordBecomesTheRunTimeFile) {
    write_text(kRunTimeFile, std::string(1000, 'x'));
    LogReader log;
    EXPECT_EQ(0, corvane::parse_supernode(kRecord));
    const std::string written =
        "{\n    \"superNodeId\": \"s\"1\",\n    \"remoteIP\": \"203.0.113.5\",\n    \"remoteTunnelIP\": "
        "\"10.1.0.1\",\n"
        "    \"remoteSubnet\": \"10.1.0.0/16\",\n    \"remotePublicKey\": \"k/+=\",\n    \"localTunnelIP\": "
        "\"10.1.0.2\"\n}";
    EXPECT_EQ(written, read_text(kRunTimeFile));
    const std::string line = log.text();  // one: the first has no end of its own
    EXPECT_TRUE(
        line.starts_with("INFO SuperNodeId: s\"1, RemoteIP: 203.0.113.5, RemoteTunnelIP: 10.1.0.1, "
                         "RemoteSubnet: 10.1.0.0/16, LocalTunnelIP: 10.1.0.2"));
    EXPECT_TRUE(line.ends_with("parse_supernode:SuperNode configuration processed successfully"));

    const auto with = [](const std::string& from, const std::string& to) {
        std::string record = kRecord;
        return record.replace(record.find(from), from.size(), to);
    };
    const std::string fields = "Missing or invalid required fields";
    const Row rows[] = {{"{\"data\":", 49, "", "JSON parse error: " + parser_text("{\"data\":")},
                        {R"({"data":"{}"})", 49, "", "Expected data object"},
                        {with("\"k/+=\"", "5"), 49, "", fields},
                        {with("superNodeId", "supernodeId"), 49, "", fields}};
    for (const Row& row : rows) {
        EXPECT_EQ(row.code, corvane::parse_supernode(row.given)) << row.given;
        EXPECT_EQ(row.errors, log.text("ERROR")) << row.given;
    }
    EXPECT_EQ(written, read_text(kRunTimeFile));
    fs::remove(kRunTimeFile);
    fs::create_symlink("/dev/full", kRunTimeFile);
    EXPECT_EQ(31, corvane::parse_supernode(kRecord));
    EXPECT_TRUE(log.text().ends_with(":Failed to write to supernode.conf file"));
    fs::remove(kRunTimeFile);
    fs::create_directory(kRunTimeFile);
    EXPECT_EQ(31, corvane::parse_supernode(kRecord));
    EXPECT_TRUE(log.text().ends_with(":Failed to open supernode.conf file"));
    fs::remove(kRunTimeFile);
}

TEST(VirtualIp, IsCheckedStoredPushedAndAnnounced) {
    const std::string old_ip = "[Join Corvane]\nvirtual_ip = 10.8.0.5\n";
    const std::string new_ip = "[Join Corvane]\nvirtual_ip = 10.8.0.9\n";
    const std::string asked =
        "is_network_intersect: NetworkService.api.check_network_intersect, ip: 10.8.0.9, mask: 255.255.255.255, "
        "ip pool conflict with Tessel network.\nVirtual ip 10.8.0.9 is in network intersect";
    const std::string lost = "modify_virtual_ip: bs_call failed, method: ";
    const std::string steps[] = {"UpdateNetworkInterfaces", "ResetVirtualInterface"};
    const struct {
        const char *clash, *setcfg;  // the manager's verdict; a tool in setcfg's place
        size_t answered;             // how many of the daemon's steps are
        int code;
        std::string stored, errors;
        size_t taken;  // steps
    } cases[] = {
        {"1", "", 2, 50, old_ip, asked, 0},
        {"0", "exit 1", 2, 60, old_ip, "Failed to set virtual ip", 0},
        {"0", "", 0, 60, new_ip, lost + steps[0] + ", ret: 3", 1},
        {"0", "", 1, 60, new_ip, lost + steps[1] + ", ret: 3", 2},
        {"0", "", 2, 0, new_ip, "", 2},
    };
    fs::remove(kNotifications);
    for (const auto& c : cases) {
        ScriptedService<0> manager("NetworkService");
        ScriptedService<1> daemon("corvane_expressd");
        manager.answer("api.check_network_intersect", R"({"error":)" + std::string(c.clash) + "}");
        for (size_t i = 0; i < c.answered; i++)
            daemon.answer(steps[i], "not read");
        write_text(kCorvaneConf, old_ip);
        std::optional<ReplacedTool> tool;
        if (*c.setcfg != '\0') tool.emplace("/sbin/setcfg", c.setcfg);
        LogReader log;
        EXPECT_EQ(c.code, corvane::modify_virtual_ip("10.8.0.9")) << c.errors;
        EXPECT_EQ(c.errors, log.text("ERROR"));
        EXPECT_EQ(c.stored, read_text(kCorvaneConf)) << c.errors;
        std::vector<ScriptedService<1>::Call> expected;
        for (size_t i = 0; i < c.taken; i++)
            expected.push_back({steps[i], ""});
        EXPECT_EQ(expected, daemon.calls()) << c.errors;
    }
    // Of all these changes the last alone is announced.
    ASSERT_TRUE(wait_until([] { return !read_text(kNotifications).empty(); }));
    const std::string sent = read_text(kNotifications);
    EXPECT_NE(std::string::npos, sent.find("\"[Harbex Service] Changed the Corvane Express NAS Virtual IP from "
                                           "10.8.0.5 to 10.8.0.9.\""));
    EXPECT_EQ(sent.size() - 1, sent.find('\n'));
}

}  // namespace
}  // namespace harbex::test
