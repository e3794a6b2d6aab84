#include "corvane/cloud/edge_token.h"

#include "common/settings_files.h"
#include "support/files.h"
#include "support/reply_rows.h"

namespace harbex::test {
namespace {

std::string token_for(const std::string& organisation) {
    return on_text([&](std::string& token) { return corvane::get_corvanetoken(organisation, token); });
}
std::string token_of_settings() {
    return on_text(corvane::get_corvanetoken_wrapper);
}

constexpr BusOperation kOfOrganisation{"Get_corvanetoken", "{\"orgId\":\"o \\\"1\\\"/ü\"}",
                                       [] { return token_for("o \"1\"/ü"); }};
constexpr BusOperation kOfSettings{"Get_corvanetoken", R"({"orgId":"o-2"})", token_of_settings};

TEST(EdgeToken, DaemonsEnvelopeIsJudged) {
    const std::string refused = "\nFailed to check corvane token response";
    ScriptedService<> daemon("harbex_network_service");
    expect_replies(
        daemon, kOfOrganisation,
        {
            {"a token", R"({"data": "t", "error": 0, "meta": {"version": "1.0"}})", "0 t", ""},
            {"an object", R"({"data": {"token": "t"}, "error": 0})", "49 before", "Invalid response format"},
            {"refused", R"({"data": "t", "error": 1018, "error_message": "no"})", "60 before",
             "bsh response error 1018, msg = no" + refused},
            {"nothing", "", "60 before", "Failed to check bsh response because root is NULL" + refused},
            {"hung up", nullptr, "60 before", "get_corvanetoken: bs_call failed, method: Get_corvanetoken, ret: 3"},
        });
}

TEST(EdgeToken, WithoutAnUsableIdNothingIsAsked) {
    ScriptedService<> daemon("harbex_network_service");
    TraceReader log;
    for (const char* settings : {"[Join Corvane]\nCORVANE_ORG_ID =  \n", "[Other]\nCORVANE_ORG_ID = o-2\n"}) {
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
