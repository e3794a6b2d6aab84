#include "corvane/cloud/precheck.h"

#include <optional>

#include "support/nas.h"

namespace harbex::test {
namespace {

constexpr const char* kTool = "/usr/local/bin/vellum_cli";
constexpr const char* kToken = "harbex_network_service.Get_cloudtoken";
// What the rows' set-up consists of.
const std::string kWords =
    "joined() { setcfg 'Brindle ID Service' bid_token_status already_join_corvane -f /etc/config/harbex/bid.conf; }\n"
    "china() { setcfg IsChinaRegion IsChinaRegion $1 -f /etc/config/harbex/corvane.conf; }\n"
    "l2tp() { setcfg L2TP Enable $1 -f /etc/config/vpn.conf; }\n"
    "country() { edge_state change '{\"geo\": {\"country_code\": \"'$1'\"}}'; }\n"
    "l2tp FALSE; country TW\n";

using Precheck = SignedInNas;

TEST_F(Precheck, DecidesStateByState) {
    const auto document = [](const char* bid, const char* l2tp, const char* ncsi, const char* region) {
        return std::string(R"(0 {"bid_exist":)") + bid + R"(,"kept":1,"l2tp_status":")" + l2tp + R"(","ncsi":)" +
               ncsi + R"(,"region":")" + region + R"("})";
    };
    const std::string me = "GET /v1.1/me";
    const std::string no_position = "Failed to get latitude or longitude or country";
    const char* const internet = "NetworkService.api.check_access_internet";
    const struct {
        const char *setup, *fault, *value;
        std::string expected;
        bool identity_kept;
        std::string requests, error;
    } cases[] = {
        {"joined; l2tp TRUE", "", "", document("true", "enabled", "true", "GLB"), true, me, ""},
        {"joined; l2tp true; country CN", "", "", document("true", "disabled", "true", "CHN"), true, me, ""},
        {"joined; china TRUE", "cloud:/v1.1/me", "status:500", document("true", "disabled", "true", "GLB"), true, me,
         "Failed to set corvane bid conf"},
        {"country cn", "", "", document("false", "disabled", "true", "GLB"), false, "", ""},
        {"joined; china true", kTool, "exit:1", document("true", "disabled", "true", "CHN"), true, me, ""},
        {"true", kTool, "exit:1", document("false", "disabled", "true", "NONE"), false, "", no_position},
        {"china true; l2tp TRUE", internet, "body:{\"error\":1}", document("false", "enabled", "false", "NONE"), true,
         "", "NCSI check failed"},
        {"true", kToken, "close", document("false", "disabled", "true", "GLB"), true, "",
         "Failed to get vellum_token"},
        {"cd /etc/config/harbex; rm bid.conf; mkdir -p bid.conf/full", kToken, R"(body:{"error":0,"data":"t"})",
         document("false", "disabled", "true", "GLB"), true, "",
         "Failed to remove /etc/config/harbex/bid.conf: Directory not empty"},
    };
    LogReader log;
    for (const auto& c : cases) {
        begin();
        ASSERT_EQ(0, shell(kWords + c.setup).status) << c.setup;
        std::optional<Fault> fault;
        if (*c.fault != '\0') fault.emplace(c.fault, c.value);
        EXPECT_EQ(c.expected, on_document(corvane::join_corvane_precheck).text()) << c.setup << c.fault;
        EXPECT_EQ(c.identity_kept, std::filesystem::exists(kBidConf)) << c.setup << c.fault;
        EXPECT_EQ(c.requests, requests()) << c.setup << c.fault;
        EXPECT_EQ(c.error, last_error(log)) << c.setup << c.fault;
    }
    std::filesystem::remove_all(kBidConf);
}

Outcome position() {
    std::string texts[4] = {"-", "-", "-", "-"};
    const int code = corvane::get_geo_info(texts[0], texts[1], texts[2], texts[3]);
    return {code, texts[0] + " " + texts[1] + " " + texts[2] + (texts[3] == "-" ? " unplaced" : "")};
}

TEST_F(Precheck, ReadsThePosition) {
    shell("rm -f /var/log/scripts.log");
    EXPECT_EQ("0 25.033 121.565 TW", position().text());
    EXPECT_EQ("vellum_cli -x 13 -e\nvellum_cli -g 203.0.113.77\n", read_text("/var/log/scripts.log"));
    const std::string none = "- - -";  // but the address is known
    const std::string missing = "Failed to get latitude or longitude or country";
    const auto place = [](const std::string& members) { return R"(body:{"result":{)" + members + "}}"; };
    expect_faults(
        kTool, position,
        {{place(R"("latitude":0.00001234567,"longitude":-121,"country_code":"")"), 0, "1.23457e-05 -121 ", ""},
         {place(R"("latitude":"25","longitude":1.5,"country_code":"TW")"), 60, none, missing},
         {place(R"("latitude":25,"longitude":1.5,"country_code":null)"), 60, none, missing},
         {R"(body:{"result":[]})", 60, none, "Failed to get result"},
         {"body:{", 60, none, ""},
         {"exit:3", 60, "- - - unplaced", "Failed to get real wan ip"}});
}

}  // namespace
}  // namespace harbex::test
