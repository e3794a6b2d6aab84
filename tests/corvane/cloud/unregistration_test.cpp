#include "corvane/cloud/unregistration.h"

#include "corvane/cloud/registration.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

class Unregistration : public SignedInNas {
protected:
    void SetUp() override { join(); }
    static void join() {
        begin();
        id_ = at(parse(on_document(corvane::device_register).substr(2)).get(), {"deviceId"});
        shell("cloudctl requests --clear");
    }
    static std::string leave() { return on_document(corvane::device_unregister); }
    static std::string join_and_leave() {
        write_text(kBidConf, read_text(kBidConf) + "bid_token_status = already_join_corvane\n");
        write_text(kAgentLink, "DEV_ID=\"dev-1\"\n");
        return leave() + " " + stored(kBidConf, "bid_token_status");
    }
    static inline std::string id_;
};

TEST_F(Unregistration, DeletesTheDeviceAndClearsTheMarker) {
    TraceReader log;
    EXPECT_EQ(
        R"(0 {"device_unregister_response":"{\"deviceId\":\")" + id_ + R"(\",\"message\":\"deleted\"}","kept":1})",
        leave());
    EXPECT_EQ("DELETE /cvnms/bthings/api/v1/devices/" + id_ + "\nContent-Type: application/json\nAuthorization: " +
                  corvane_token() + "\nvellumToken: " + vellum_token() + "\n",
              request_text(recorded_requests().at(0).get()));
    EXPECT_EQ("10.8.0.21 serial grp-east agent ", enrolment()) << "nothing but the marker is undone";
    EXPECT_EQ("INFO Successfully cleared bid_token_status", log.lines().back());

    join();
    const ReplacedTool tool("/sbin/setcfg", failing_for("setcfg", "bid_token_status"));
    EXPECT_EQ("0 {", leave().substr(0, 3)) << "the device is gone, whatever the marker says";
    EXPECT_EQ("Failed to clear bid_token_status", last_error(log));
    EXPECT_EQ("already_join_corvane", stored(kBidConf, "bid_token_status"));
}

TEST_F(Unregistration, AFailedDeletionKeepsTheMarker) {
    const std::string failed = "Failed to unregister device";
    const std::string kept = R"({"device_unregister_response":"","kept":1} already_join_corvane)";
    expect_faults("cloud:/cvnms/bthings/api/v1/devices/*", join_and_leave,
                  {
                      {"status:404,body:{\"x\":1}",
                       R"(82 {"device_unregister_response":"{\"x\":1}","kept":1} already_join_corvane)", failed},
                      {"refuse", "7 " + kept, failed},
                      {"certificate:other-name", "60 " + kept, failed},
                  });
}

TEST_F(Unregistration, NeedsBothTokensAndTheDevicesId) {
    const struct {
        const char *file, *line, *outcome, *error;
    } cases[] = {
        {kBidConf, "VELLUM_TOKEN = ", R"(63 {"kept":1})", "Failed to obtain vellumToken"},
        {kCorvaneConf, "CORVANE_ORG_ID = ", R"(64 {"kept":1})", "Failed to get corvane token"},
        {kAgentFile, "DEV_ID=", R"(69 {"kept":1})", "Failed to get corvane device id"},
    };
    TraceReader log;
    for (const auto& c : cases) {
        join();
        replace_in(c.file, c.line, "NONE = ");
        EXPECT_EQ(c.outcome, leave());
        EXPECT_EQ(c.error, last_error(log));
        EXPECT_EQ("", requests()) << c.error;
    }
}

}  // namespace
}  // namespace harbex::test
