#include "corvane/cloud/precheck.h"

#include <optional>

#include "common/error_code.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kVpnConf = "/etc/config/vpn.conf";
constexpr const char* kAccountTool = "/usr/local/bin/vellum_cli";

class Precheck : public SignedInNas {
protected:
    static std::string check() {
        JsonValue result;
        EXPECT_EQ(0, corvane::join_corvane_precheck(result));
        return text_of(result);
    }
    static void mark_joined() {
        write_text(kBidConf, read_text(kBidConf) + "bid_token_status = already_join_corvane\n");
    }
    static void country(const std::string& code) {
        shell("edge_state change '{\"geo\": {\"country_code\": \"" + code + "\"}}'");
    }
};

std::string document(const char* bid, const char* l2tp, const char* ncsi, const char* region) {
    return std::string("{\"bid_exist\":") + bid + ",\"l2tp_status\":\"" + l2tp + "\",\"ncsi\":" + ncsi +
           ",\"region\":\"" + region + "\"}";
}

TEST_F(Precheck, DecidesStateByState) {
    const struct {
        const char* name;
        bool joined;
        std::string settings;  // put in front of the SD-WAN settings
        std::string l2tp;
        std::string country;
        std::string fault;
        std::string value;
        std::string expected;
        bool identity_kept;
        Lines requests;
        std::string error;
    } cases[] = {
        {"joined",
         true,
         "",
         "TRUE",
         "TW",
         "",
         "",
         document("true", "enabled", "true", "GLB"),
         true,
         {"GET /v1.1/me"},
         ""},
        {"joined, account centre out of order",
         true,
         "",
         "true",
         "CN",
         "cloud:/v1.1/me",
         "status:500",
         document("true", "disabled", "true", "CHN"),
         true,
         {"GET /v1.1/me"},
         "Failed to set corvane bid conf"},
        {"not joined", false, "", "FALSE", "cn", "", "", document("false", "disabled", "true", "GLB"), false, {}, ""},
        {"China by setting",
         true,
         "[IsChinaRegion]\nIsChinaRegion = true\n",
         "",
         "TW",
         kAccountTool,
         "exit:1",
         document("true", "disabled", "true", "CHN"),
         true,
         {"GET /v1.1/me"},
         ""},
        {"setting in capitals",
         true,
         "[IsChinaRegion]\nIsChinaRegion = TRUE\n",
         "",
         "TW",
         "",
         "",
         document("true", "disabled", "true", "GLB"),
         true,
         {"GET /v1.1/me"},
         ""},
        {"position unknown",
         false,
         "",
         "TRUE",
         "TW",
         kAccountTool,
         "exit:1",
         document("false", "enabled", "true", "NONE"),
         false,
         {},
         "Failed to get latitude or longitude or country"},
        {"no internet",
         false,
         "[IsChinaRegion]\nIsChinaRegion = true\n",
         "TRUE",
         "CN",
         "NetworkService.api.check_access_internet",
         "body:{\"error\":1}",
         document("false", "enabled", "false", "NONE"),
         true,
         {},
         "NCSI check failed"},
        {"no token",
         false,
         "",
         "",
         "TW",
         "harbex_network_service.Get_cloudtoken",
         "body:{\"error\":1010}",
         document("false", "disabled", "true", "GLB"),
         true,
         {},
         "Failed to get vellum_token"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        if (c.joined) mark_joined();
        write_text(kCorvaneConf, c.settings + read_text(kCorvaneConf));
        write_text(kVpnConf, "[L2TP]\n" + (c.l2tp.empty() ? "" : "Enable = " + c.l2tp + "\n"));
        country(c.country);
        {
            std::optional<Fault> fault;
            if (!c.fault.empty()) fault.emplace(c.fault, c.value);
            EXPECT_EQ(c.expected, check()) << c.name;
        }
        EXPECT_EQ(c.identity_kept, std::filesystem::exists(kBidConf)) << c.name;
        EXPECT_EQ(c.requests, requests()) << c.name;
        EXPECT_EQ(c.error, last_error(log)) << c.name;
    }
    country("TW");
    write_text(kVpnConf, "");
}

TEST_F(Precheck, AnIdentityThatCannotBeRemovedDoesNotCount) {
    TraceReader log;
    const std::string away = std::string(kBidConf) + ".away";
    // A settings tool that answers from elsewhere, and a directory in the file's place.
    std::filesystem::rename(kBidConf, away);
    std::filesystem::create_directories(std::string(kBidConf) + "/full");
    const Fault token("harbex_network_service.Get_cloudtoken", "body:{\"error\":0,\"data\":\"t\"}");
    EXPECT_EQ(document("false", "disabled", "true", "GLB"), check());
    EXPECT_EQ("Failed to remove /etc/config/harbex/bid.conf: Directory not empty", last_error(log));
    std::filesystem::remove_all(kBidConf);
    std::filesystem::rename(away, kBidConf);
}

TEST_F(Precheck, ReadsThePosition) {
    const auto position = [](const char* latitude, const char* code) {
        return std::string("body:{\"result\":{\"latitude\":") + latitude +
               ",\"longitude\":-121,\"country_code\":" + code + "}}";
    };
    const std::string incomplete = "Failed to get latitude or longitude or country";
    const struct {
        std::string printed;
        const char* outcome;
        std::string error;
    } cases[] = {
        {position("25.03297", "\"TW\""), "0 25.033 -121 TW", ""},
        {position("0.00001234567", "\"\""), "0 1.23457e-05 -121 ", ""},
        {position("\"25\"", "\"TW\""), "60 - - -", incomplete},
        {position("25", "null"), "60 - - -", incomplete},
        {"body:{\"result\":[]}", "60 - - -", "Failed to get result"},
        {"body:{", "60 - - -", ""},
        {"exit:3", "60 - - -", "Failed to get real wan ip"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        const Fault fault(kAccountTool, c.printed);
        std::string latitude = "-";
        std::string longitude = "-";
        std::string country_code = "-";
        std::string address = "-";
        const int code = corvane::get_geo_info(latitude, longitude, country_code, address);
        EXPECT_EQ(c.outcome, std::to_string(code) + " " + latitude + " " + longitude + " " + country_code)
            << c.printed;
        EXPECT_EQ(c.error, last_error(log)) << c.printed;
        EXPECT_EQ(code == 0, address != "-") << c.printed;
    }
    shell("rm -f /var/log/scripts.log");
    std::string text;
    EXPECT_EQ(0, corvane::get_geo_info(text, text, text, text));
    EXPECT_EQ("203.0.113.77", text);
    EXPECT_EQ("vellum_cli -x 13 -e\nvellum_cli -g 203.0.113.77\n", read_text("/var/log/scripts.log"));
}

}  // namespace
}  // namespace harbex::test
