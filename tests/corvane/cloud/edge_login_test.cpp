#include "corvane/cloud/edge_login.h"

#include <fcntl.h>
#include <sched.h>

#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

class EdgeLogin : public SignedInNas {
protected:
    static std::string log_in() {
        return on_text([](std::string& response) { return corvane::corvane_api_edge(vellum_token(), response); }, "");
    }
    static std::string sent_body() { return at(recorded_requests().at(0).get(), {"body"}); }
};

TEST_F(EdgeLogin, DescribesThisNasByteForByte) {
    std::string odd = edge_body("auto");
    const auto change = [&odd](const std::string& from, const std::string& to) {
        odd.replace(odd.find(from), from.size(), to);
    };
    change("harbex-nas", "har\"bex");
    change("Ada Field", "");
    change("Asia/Taipei", "");
    change("\"regionId\": 0", "\"regionId\": 1");
    change("auto", "");

    EXPECT_EQ("0 {\"dev", log_in().substr(0, 7));
    EXPECT_EQ(edge_body("auto"), sent_body());

    replace_in(kBidConf, "REGION = GLB", "REGION = glb");
    replace_in(kBidConf, "DISPLAY_NAME = Ada Field\n", "");
    replace_in(kCorvaneConf, "CORVANE_REGION_ID = auto\n", "");
    write_text("/etc/hostname", "har\"bex\nsecond\n");
    std::filesystem::rename("/etc/config/TZ", "/etc/config/TZ.away");
    EXPECT_EQ("70 {\"code\":40000", log_in().substr(0, 16)) << "what is no JSON is sent as it is";
    EXPECT_EQ(odd, sent_body());
    std::filesystem::rename("/etc/config/TZ.away", "/etc/config/TZ");
    write_text("/etc/hostname", "harbex-nas\n");
}

TEST_F(EdgeLogin, MissingFactsStopItBeforeItsRequest) {
    const auto without_file = [](const std::string& file) {
        std::filesystem::rename(file, file + ".away");
        std::string outcome = log_in();
        std::filesystem::rename(file + ".away", file);
        return outcome;
    };
    const auto without_line = [](const std::string& line) {
        replace_in(kCorvaneConf, line, "NONE");
        return log_in();
    };
    const auto without_key = [](const std::string& key) {
        const ReplacedTool tool("/sbin/getcfg", failing_for("getcfg", key));
        return log_in();
    };
    const auto without_network = [](const std::string&) {
        const int before = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(0, unshare(CLONE_NEWNET));
        std::string outcome = log_in();
        EXPECT_EQ(0, setns(before, CLONE_NEWNET));
        close(before);
        return outcome;
    };
    const auto without_account = [](const std::string& path) {
        replace_in(kBidConf, "EMAILS", "NONE");
        const Fault fault("cloud:" + path, "status:500");
        return log_in();
    };
    const struct {
        const char* message;
        std::string (*run)(const std::string&);
        const char *what, *requests;
    } cases[] = {
        {"Failed to get contact email", without_account, "/v1.1/me", "GET /v1.1/me"},
        {"Failed to get contact", without_key, "DISPLAY_NAME", ""},
        {"Failed to get device name", without_file, "/etc/hostname", ""},
        {"Failed to get nas model name", without_file, "/etc/platform.conf", ""},
        {"Failed to get gateway mac", without_network, "", ""},
        {"Failed to get hwsn", without_file, "/sbin/get_hwsn", ""},
        {"Failed to get brindle org id", without_line, "CORVANE_ORG_ID", ""},
        {"Failed to get brindle site id", without_line, "CORVANE_SITE_ID", ""},
        {"Failed to get corvane region id", without_key, "CORVANE_REGION_ID", ""},
    };
    TraceReader log;
    for (const auto& c : cases) {
        begin();
        EXPECT_EQ("60 ", c.run(c.what)) << c.message;
        EXPECT_EQ(c.message, last_error(log));
        EXPECT_EQ(c.requests, requests()) << c.message;
    }
}

TEST(CloudToken, ComesFromTheDaemon) {
    const auto token = [] { return on_text(corvane::get_cloudtoken); };
    const auto save = [] { return std::to_string(corvane::save_vellum_token("a\"b\n")); };
    shell("appliance-service stop harbex_network_service");
    {
        ScriptedService<> daemon("harbex_network_service");
        expect_replies(
            daemon, {"Get_cloudtoken", "", token},
            {
                {"a token", R"({"error": 0, "data": "t"})", "0 t", ""},
                {"no text", R"({"error": 0, "data": 5})", "49 before",
                 "No 'data' string in get cloud token response"},
                {"refused", R"({"error": 1010, "data": "t"})", "60 before",
                 "Get_cloudtoken responded with error code: 1010"},
                {"verdict as text", R"({"error": "0", "data": "t"})", "49 before",
                 "No 'error' integer in get cloud token response"},
                {"cut short", R"({"error)", "49 before", "Failed to parse JSON: " + parser_text(R"({"error)")},
                {"hung up", nullptr, "60 before", "get_cloudtoken: bs_call failed, method: Get_cloudtoken, ret: 3"},
            });
        expect_replies(daemon, {"Save_cloudtoken", "{\"oauth_response_encoded\":\"a\\\"b\\n\"}", save},
                       {
                           {"refused", R"({"error": 1014})", "0", ""},
                           {"hung up", nullptr, "60", "Failed to call bsh harbex_network_service.Save_cloudtoken"},
                       });
        EXPECT_EQ(60, corvane::save_vellum_token("\xff")) << "no text that could be sent";
    }
    shell("appliance-service start harbex_network_service");
}

}  // namespace
}  // namespace harbex::test
