#include "corvane/device/supernode.h"

#include <optional>

#include "common/error_code.h"
#include "common/settings_files.h"
#include "support/daemon.h"
#include "support/files.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRunTimeFile = "/var/run/cms_config/supernode.json";
constexpr const char* kNotifications = "/var/log/notification.log";
constexpr const char* kUpdate = "UpdateNetworkInterfaces";
constexpr const char* kReset = "ResetVirtualInterface";
constexpr const char* kRecord =
    R"({"data":{"localTunnelIP":"10.1.0.2","extra":1,"superNodeId":"s\"1","remoteIP":"203.0.113.5",)"
    R"("remoteTunnelIP":"10.1.0.1","remoteSubnet":"10.1.0.0/16","remotePublicKey":"k/+="},"code":3})";

TEST(Supernode, RecordBecomesTheRunTimeFile) {
    write_text(kRunTimeFile, std::string(1000, 'x'));
    TraceReader log;
    EXPECT_EQ(NO_ERROR, corvane::parse_supernode(kRecord));
    EXPECT_EQ(
        "{\n"
        "    \"superNodeId\": \"s\"1\",\n"
        "    \"remoteIP\": \"203.0.113.5\",\n"
        "    \"remoteTunnelIP\": \"10.1.0.1\",\n"
        "    \"remoteSubnet\": \"10.1.0.0/16\",\n"
        "    \"remotePublicKey\": \"k/+=\",\n"
        "    \"localTunnelIP\": \"10.1.0.2\"\n"
        "}",
        read_text(kRunTimeFile));
    const std::string line = lines_of(log);  // one: the first has no end of its own
    EXPECT_EQ(0U, line.find("INFO SuperNodeId: s\"1, RemoteIP: 203.0.113.5, RemoteTunnelIP: 10.1.0.1, "
                            "RemoteSubnet: 10.1.0.0/16, LocalTunnelIP: 10.1.0.2"));
    EXPECT_NE(std::string::npos, line.find("parse_supernode:SuperNode configuration processed successfully"));
}

TEST(Supernode, BadRecordsWriteNothing) {
    const std::string fields = "Missing or invalid required fields";
    const auto with = [](const std::string& from, const std::string& to) {
        std::string record = kRecord;
        return record.replace(record.find(from), from.size(), to);
    };
    const struct {
        std::string record, error;
    } cases[] = {
        {"{\"data\":", "JSON parse error: " + parser_text("{\"data\":")},
        {R"({"data":"{}"})", "Expected data object"},
        {with("\"k/+=\"", "5"), fields},
        {with("superNodeId", "supernodeId"), fields},
    };
    write_text(kRunTimeFile, "before");
    TraceReader log;
    for (const auto& c : cases) {
        EXPECT_EQ(ERR_WRONG_JSON_FORMAT, corvane::parse_supernode(c.record)) << c.record;
        EXPECT_EQ(c.error, lines_of(log, "ERROR")) << c.record;
    }
    EXPECT_EQ("before", read_text(kRunTimeFile));

    fs::remove(kRunTimeFile);
    fs::create_symlink("/dev/full", kRunTimeFile);
    EXPECT_EQ(ERR_SAVE_FILE, corvane::parse_supernode(kRecord));
    EXPECT_NE(std::string::npos, lines_of(log).find(":Failed to write to supernode.conf file"));
    fs::remove(kRunTimeFile);
    fs::create_directory(kRunTimeFile);
    EXPECT_EQ(ERR_SAVE_FILE, corvane::parse_supernode(kRecord));
    EXPECT_NE(std::string::npos, lines_of(log).find(":Failed to open supernode.conf file"));
    fs::remove(kRunTimeFile);
}

TEST(VirtualIp, IsCheckedStoredPushedAndAnnounced) {
    const std::string free = R"({"error":0})";
    const std::string old_ip = "[Join Corvane]\nvirtual_ip = 10.8.0.5\n";
    const std::string new_ip = "[Join Corvane]\nvirtual_ip = 10.8.0.9\n";
    const std::string bus = "modify_virtual_ip: bs_call failed, method: ";
    const std::string asked =
        "is_network_intersect: NetworkService.api.check_network_intersect, ip: 10.8.0.9, mask: 255.255.255.255, ";
    const std::string both = "UpdateNetworkInterfaces()ResetVirtualInterface()";
    const struct {
        const char* name;
        std::string intersect;  // the manager's reply
        const char* broken;     // the daemon's method that is hung up on, or the tool that fails
        int result;
        std::string stored, pushed, errors;
    } cases[] = {
        {"clash", R"({"error":1})", "", ERR_WRONG_VIRTUAL_IP, old_ip, "",
         asked + "ip pool conflict with Tessel network.\nVirtual ip 10.8.0.9 is in network intersect"},
        {"address not stored", free, "/sbin/setcfg", ERR_CMD_FAILED, old_ip, "", "Failed to set virtual ip"},
        {"daemon fails at once", free, kUpdate, ERR_CMD_FAILED, new_ip, "UpdateNetworkInterfaces()",
         bus + kUpdate + ", ret: 3"},
        {"daemon fails later", free, kReset, ERR_CMD_FAILED, new_ip, both, bus + kReset + ", ret: 3"},
        {"done", free, "", NO_ERROR, new_ip, both, ""},
    };
    fs::remove(kNotifications);
    for (const auto& c : cases) {
        ScriptedService<0> manager("NetworkService");
        ScriptedService<1> daemon("corvane_expressd");
        manager.answer("api.check_network_intersect", c.intersect);
        for (const char* method : {kUpdate, kReset}) {
            if (method != c.broken) daemon.answer(method, "not read");
        }
        write_text(kCorvaneConf, old_ip);
        TraceReader log;
        {
            std::optional<ReplacedTool> tool;
            if (c.broken[0] == '/') tool.emplace(c.broken, "exit 1");
            EXPECT_EQ(c.result, corvane::modify_virtual_ip("10.8.0.9")) << c.name;
        }
        EXPECT_EQ(c.errors, lines_of(log, "ERROR")) << c.name;
        EXPECT_EQ(c.stored, read_text(kCorvaneConf)) << c.name;
        std::string pushed;
        for (const auto& call : daemon.calls())
            pushed += call.method + "(" + call.body + ")";
        EXPECT_EQ(c.pushed, pushed) << c.name;
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
