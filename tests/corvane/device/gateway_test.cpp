#include "corvane/device/gateway.h"

#include <gtest/gtest.h>

#include <string>

#include "common/error_code.h"
#include "common/settings_files.h"
#include "support/files.h"
#include "support/reply_rows.h"
#include "support/run_program.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "api.get_currentGWinfo";

TEST(Gateway, MaskBitsAreCountedPieceByPiece) {
    const struct {
        const char* mask;
        int bits;
    } cases[] = {
        {"255.255.255.0", 24}, {"255.0.255.0", 16},         {"255.255.255.255", 32}, {"0.0.0.0", 0}, {"", 0},
        {"256.255.255.0", 16}, {"255.255.255.255.255", 40}, {"-1.x.3", 10},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.bits, corvane::maskToCIDR(c.mask)) << c.mask;
}

TEST(Gateway, MacIsEth0s) {
    std::string mac = "before";
    EXPECT_EQ(NO_ERROR, corvane::get_eth0_mac(mac));
    EXPECT_EQ("02:00:5e:00:01:0a", mac);
    const auto rename_port = [](const char* from, const char* to) {
        return run_program({"/usr/bin/ip", "link", "set", from, "down"}).status +
               run_program({"/usr/bin/ip", "link", "set", from, "name", to}).status +
               run_program({"/usr/bin/ip", "link", "set", to, "up"}).status;
    };
    ASSERT_EQ(0, rename_port("eth0", "other"));
    TraceReader log;
    EXPECT_EQ(ERR_CMD_FAILED, corvane::get_eth0_mac(mac));
    EXPECT_EQ("02:00:5e:00:01:0a", mac);
    EXPECT_EQ("ERROR Failed to get MAC address", lines_of(log));
    ASSERT_EQ(0, rename_port("other", "eth0"));
}

TEST(Gateway, ReadersTakeTheFirstGatewayAsItIs) {
    const BusOperation ip{kMethod, "", corvane::get_gateway_ip};
    const BusOperation name{kMethod, "", corvane::get_gateway_interface_name};
    const BusOperation label{kMethod, "", corvane::get_gateway_display_name};
    const char* reply =
        R"({"data":[{"ifname":"tun9","interface_type":"VPN","status":{"display_name":"Out","IPv4":[{"ip":"10.0.0.9"},)"
        R"({"ip":"10.0.0.8"}]}},{"ifname":"eth0"}],"error":5})";
    const char* no_data = R"({"data":{}})";
    const char* empty = R"({"data":[]})";
    ScriptedService<> manager("NetworkService");
    expect_replies(manager, ip,
                   {{"all there", reply, "10.0.0.9", ""},
                    {"data no array", no_data, "", "Failed to get data"},
                    {"no gateway", empty, "", "Failed to get first item"},
                    {"gateway no object", R"({"data":["eth0"]})", "", "Failed to get ip"},
                    {"address no text", R"({"data":[{"status":{"IPv4":[{"ip":1}]}}]})", "", "Failed to get ip"}});
    expect_replies(manager, name,
                   {{"all there", reply, "tun9", ""},
                    {"data no array", no_data, "", "Failed to get data"},
                    {"no gateway", empty, "", "Failed to get first item"},
                    {"name no text", R"({"data":[{"ifname":null}]})", "", "Failed to get interface_name"}});
    expect_replies(manager, label,
                   {{"all there", reply, "Out", ""},
                    {"data no array", no_data, "", "Failed to get display_name"},
                    {"no gateway", empty, "", "Failed to get display_name"}});
    const struct {
        const BusOperation& operation;
        std::string function;
    } readers[] = {{ip, "get_gateway_ip"}, {name, "get_gateway_interface_name"}, {label, "get_gateway_display_name"}};
    for (const auto& reader : readers) {
        expect_replies(
            manager, reader.operation,
            {{"cut short", R"({"data":[)", "", "Failed to parse JSON: " + parser_text(R"({"data":[)")},
             {"nothing", "", "", "Failed to parse JSON: " + parser_text("")},
             {"hung up", nullptr, "", reader.function + ": bs_call failed, method: api.get_currentGWinfo, ret: 3"}});
    }
}

TEST(Gateway, RealManagerKnowsTheDefaultRoute) {
    // The port's renaming above cost the route.
    (void)run_program({"/usr/bin/ip", "route", "replace", "default", "via", "192.168.1.1"});
    ASSERT_EQ(0, run_program({"/usr/local/bin/appliance-service", "start", "NetworkService"}).status);
    EXPECT_EQ("192.168.1.10", corvane::get_gateway_ip());
    EXPECT_EQ("eth0", corvane::get_gateway_interface_name());
    EXPECT_NE("", corvane::get_gateway_display_name());
    EXPECT_EQ(0, run_program({"/usr/local/bin/appliance-service", "stop", "NetworkService"}).status);
}

TEST(Gateway, RoutingTablesAreStoredRouterFirst) {
    const std::string router = "[Join Corvane]\nrouter_region_table_id = 30000\n";
    const struct {
        const char* written;  // the last key that can be written
        int result;
        std::string stored;
        const char* log;
    } cases[] = {
        {"none", ERR_CMD_FAILED, "", "ERROR Failed to set router_region_table_id"},
        {"router", ERR_CMD_FAILED, router, "ERROR Failed to set supernode_region_table_id"},
        {"*", NO_ERROR, router + "supernode_region_table_id = 31000\n", "INFO set_corvane_express_cfg done"},
    };
    for (const auto& c : cases) {
        write_text(kCorvaneConf, "");
        const ReplacedTool tool("/sbin/setcfg", std::string("case $2 in ") + c.written +
                                                    "*) exec /sbin/setcfg.replaced \"$@\" ;; esac; exit 1");
        TraceReader log;
        EXPECT_EQ(c.result, corvane::set_corvane_express_cfg()) << c.written;
        EXPECT_EQ(c.stored, read_text(kCorvaneConf)) << c.written;
        EXPECT_EQ(c.log, lines_of(log)) << c.written;
    }
}

}  // namespace
}  // namespace harbex::test
