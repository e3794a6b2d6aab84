#include "corvane/cloud/edge_token.h"

#include <gtest/gtest.h>

#include <string>

#include "common/settings_files.h"
#include "support/files.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

std::string token_for(const std::string& organisation) {
    std::string token = "before";
    const int result = corvane::get_corvanetoken(organisation, token);
    return std::to_string(result) + " " + token;
}

std::string token_of_organisation() {
    return token_for("o \"1\"/ü");
}

std::string token_of_settings() {
    std::string token = "before";
    const int result = corvane::get_corvanetoken_wrapper(token);
    return std::to_string(result) + " " + token;
}

constexpr BusOperation kOfOrganisation{"Get_corvanetoken", "{\"orgId\":\"o \\\"1\\\"/ü\"}", token_of_organisation};
constexpr BusOperation kOfSettings{"Get_corvanetoken", R"({"orgId":"o-2"})", token_of_settings};

TEST(EdgeToken, DaemonsEnvelopeIsJudged) {
    const std::string refused = "\nFailed to check corvane token response";
    const std::string no_root = "Failed to check bsh response because root is NULL" + refused;
    ScriptedService<> daemon("harbex_network_service");
    expect_replies(
        daemon, kOfOrganisation,
        {
            {"a token", R"({"data": "t", "error": 0, "meta": {"version": "1.0"}})", "0 t", ""},
            {"an empty token", R"({"data": "", "error": 0})", "0 ", ""},
            {"an object", R"({"data": {"token": "t"}, "error": 0})", "49 before", "Invalid response format"},
            {"no data", R"({"error": 0})", "49 before", "Invalid response format"},
            {"refused", R"({"data": "t", "error": 1018, "error_message": "no"})", "60 before",
             "bsh response error 1018, msg = no" + refused},
            {"no verdict", R"({"data": "t"})", "60 before", "Failed to get error" + refused},
            {"cut short", R"({"data": "t)", "60 before", no_root},
            {"nothing", "", "60 before", no_root},
            {"hung up", nullptr, "60 before", "get_corvanetoken: bs_call failed, method: Get_corvanetoken, ret: 3"},
        });
}

TEST(EdgeToken, WithoutAnUsableIdNothingIsAsked) {
    ScriptedService<> daemon("harbex_network_service");
    TraceReader log;
    for (const char* settings : {"", "[Join Corvane]\nCORVANE_ORG_ID =  \n", "[Other]\nCORVANE_ORG_ID = o-2\n"}) {
        write_text(kCorvaneConf, settings);
        EXPECT_EQ("60 before", token_of_settings()) << settings;
        EXPECT_EQ("ERROR Failed to get CORVANE_ORG_ID from corvane.conf", lines_of(log)) << settings;
    }
    EXPECT_EQ("60 before", token_for("\xff"));
    EXPECT_EQ("ERROR Failed to serialize request JSON", lines_of(log));
    EXPECT_TRUE(daemon.calls().empty());
    write_text(kCorvaneConf, "[Join Corvane]\nCORVANE_ORG_ID = o-2\n");
    expect_replies(daemon, kOfSettings, {{"a token", R"({"data": "t", "error": 0})", "0 t", ""}});
}

}  // namespace
}  // namespace harbex::test
