#include "corvane/cloud/precheck.h"

#include <optional>

#include "support/nas.h"

namespace harbex::test {
namespace {

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
    const struct {
        const char *setup, *fault, *value;
        std::string expected, requests, error;
        bool identity_kept = true;
    } cases[] = {
        {"joined; l2tp TRUE", "", "", document("true", "enabled", "true", "GLB"), me, ""},
        {"joined; l2tp true; country CN", "", "", document("true", "disabled", "true", "CHN"), me, ""},
        {"joined; china TRUE", "cloud:/v1.1/me", "status:500", document("true", "disabled", "true", "GLB"), me,
         "Failed to set corvane bid conf"},
        {"true", "/usr/local/bin/vellum_cli", "exit:1", document("false", "disabled", "true", "NONE"), "",
         "Failed to get latitude or longitude or country", false},
        {"china true; l2tp TRUE", "NetworkService.api.check_access_internet", "body:{\"error\":1}",
         document("false", "enabled", "false", "NONE"), "", "NCSI check failed"},
        {"true", "harbex_network_service.Get_cloudtoken", "close", document("false", "disabled", "true", "GLB"), "",
         "Failed to get vellum_token"},
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
}

TEST_F(Precheck, ReadsThePosition) {
    shell("rm -f /var/log/scripts.log");
    std::string texts[4];
    EXPECT_EQ(0, corvane::get_geo_info(texts[0], texts[1], texts[2], texts[3]));
    EXPECT_EQ("25.033 121.565 TW", texts[0] + " " + texts[1] + " " + texts[2]);
    EXPECT_EQ("vellum_cli -x 13 -e\nvellum_cli -g 203.0.113.77\n", read_text("/var/log/scripts.log"));
    const ReplacedTool tool("/usr/local/bin/vellum_cli", "[ $1 = -x ] && exec $0.replaced \"$@\"");
    texts[3] = "";
    EXPECT_EQ(60, corvane::get_geo_info(texts[0], texts[1], texts[2], texts[3]));
    EXPECT_EQ("203.0.113.77", texts[3]) << "known before the position is asked for";
}

}  // namespace
}  // namespace harbex::test
