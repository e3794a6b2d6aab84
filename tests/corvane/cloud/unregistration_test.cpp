#include "corvane/cloud/unregistration.h"

#include "common/error_code.h"
#include "corvane/cloud/registration.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

using Lines = std::vector<std::string>;

class Unregistration : public SignedInNas {
protected:
    // Begins joined.
    static std::string join() {
        begin();
        JsonValue result;
        EXPECT_EQ(0, corvane::device_register(result));
        shell("cloudctl requests --clear");
        return at(parse(text_of(result)).get(), {"deviceId"});
    }
    static std::string leave() {
        JsonValue result;
        const int code = corvane::device_unregister(result);
        return std::to_string(code) + " " + text_of(result);
    }
};

TEST_F(Unregistration, DeletesTheDeviceAndClearsTheMarker) {
    const std::string id = join();
    TraceReader log;
    EXPECT_EQ("0 {\"device_unregister_response\":\"{\\\"deviceId\\\":\\\"" + id +
                  "\\\",\\\"message\\\":\\\"deleted\\\"}\"}",
              leave());
    const std::vector<JsonOwner> records = recorded_requests();
    ASSERT_EQ(1U, records.size());
    EXPECT_EQ("DELETE /cvnms/bthings/api/v1/devices/" + id,
              at(records[0].get(), {"method"}) + " " + at(records[0].get(), {"target"}));
    EXPECT_EQ((Lines{kJsonType, "Authorization: " + corvane_token(), "vellumToken: " + vellum_token()}),
              header_lines(records[0].get()));
    EXPECT_EQ("10.8.0.21 serial grp-east agent ", enrolment()) << "nothing but the marker is undone";
    EXPECT_EQ("INFO Successfully cleared bid_token_status", log.lines().back());
}

TEST_F(Unregistration, AFailedDeletionKeepsTheMarker) {
    const struct {
        const char* fault;
        const char* outcome;
    } cases[] = {
        {"status:404,body:{\"x\":1}", R"(82 {"device_unregister_response":"{\"x\":1}"})"},
        {"status:302,body:", R"(82 {"device_unregister_response":""})"},
        {"refuse", R"(7 {"device_unregister_response":""})"},
        {"certificate:other-name", R"(60 {"device_unregister_response":""})"},
    };
    join();
    TraceReader log;
    for (const auto& c : cases) {
        const Fault fault("cloud:/cvnms/bthings/api/v1/devices/*", c.fault);
        EXPECT_EQ(c.outcome, leave()) << c.fault;
        const std::string errors = lines_of(log, "ERROR");
        EXPECT_EQ("Failed to unregister device\nFailed to unregister device", errors.substr(errors.find('\n') + 1));
        EXPECT_EQ("already_join_corvane", stored(kBidConf, "bid_token_status")) << c.fault;
    }
    const ReplacedTool tool("/sbin/setcfg", setcfg_without("bid_token_status"));
    EXPECT_EQ("0 {", leave().substr(0, 3)) << "the device is gone, whatever the marker says";
    EXPECT_EQ("Failed to clear bid_token_status", last_error(log));
    EXPECT_EQ("already_join_corvane", stored(kBidConf, "bid_token_status"));
}

TEST_F(Unregistration, NeedsBothTokensAndTheDevicesId) {
    const struct {
        const char* file;
        const char* line;
        int code;
        const char* error;
    } cases[] = {
        {kBidConf, "VELLUM_TOKEN = ", 63, "Failed to obtain vellumToken"},
        {kCorvaneConf, "CORVANE_ORG_ID = ", 64, "Failed to get corvane token"},
        {kPersistentAgentFile, "DEV_ID=", 69, "Failed to get corvane device id"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        join();
        replace_in(c.file, c.line, std::string("NO_") + c.line[0] + "=");
        EXPECT_EQ(std::to_string(c.code) + " null", leave());
        EXPECT_EQ(c.error, last_error(log));
        EXPECT_EQ(Lines{}, requests()) << c.error;
    }
}

}  // namespace
}  // namespace harbex::test
