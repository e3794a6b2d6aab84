#include "corvane/device/gateway.h"

#include <gtest/gtest.h>

#include <string>

#include "support/reply_rows.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "api.get_currentGWinfo";

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
                    {"address no text", R"({"data":[{"status":{"IPv4":[{"ip":1}]}}]})", "", "Failed to get ip"}});
    expect_replies(manager, name,
                   {
                       {"all there", reply, "tun9", ""},
                       {"data no array", no_data, "", "Failed to get data"},
                       {"no gateway", empty, "", "Failed to get first item"},
                   });
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

}  // namespace
}  // namespace harbex::test
