#include "corvane/device/gateway.h"

#include "support/reply_rows.h"

namespace harbex::test {
namespace {

constexpr const char* kMethod = "api.get_currentGWinfo";

TEST(Gateway, ReadersTakeTheFirstGatewayAsItIs) {
    const struct {
        std::string (*run)();
        std::string function;
        const char *value, *no_data, *empty;
    } readers[] = {
        {corvane::get_gateway_ip, "get_gateway_ip", "10.0.0.9", "data", "first item"},
        {corvane::get_gateway_interface_name, "get_gateway_interface_name", "tun9", "data", "first item"},
        {corvane::get_gateway_display_name, "get_gateway_display_name", "Out", "display_name", "display_name"},
    };
    const std::string failed = "Failed to get ";
    ScriptedService<> manager("NetworkService");
    for (const auto& reader : readers) {
        expect_replies(
            manager, {kMethod, "", reader.run},
            {{"all there",
              R"({"data":[{"ifname":"tun9","interface_type":"VPN","status":{"display_name":"Out","IPv4":)"
              R"([{"ip":"10.0.0.9"},{"ip":"10.0.0.8"}]}},{"ifname":"eth0"}],"error":5})",
              reader.value, ""},
             {"data no array", R"({"data":{}})", "", failed + reader.no_data},
             {"no gateway", R"({"data":[]})", "", failed + reader.empty},
             {"cut short", R"({"data":[)", "", "Failed to parse JSON: " + parser_text(R"({"data":[)")},
             {"nothing", "", "", "Failed to parse JSON: " + parser_text("")},
             {"hung up", nullptr, "", reader.function + ": bs_call failed, method: api.get_currentGWinfo, ret: 3"}});
    }
    expect_replies(manager, {kMethod, "", corvane::get_gateway_ip},
                   {{"address no text", R"({"data":[{"status":{"IPv4":[{"ip":1}]}}]})", "", failed + "ip"}});
}

}  // namespace
}  // namespace harbex::test
