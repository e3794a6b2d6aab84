#include "corvane/cloud/unregistration.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

class Unregistration : public SignedInNas {
protected:
    static Outcome leave_as(const std::string& id) {
        set_setting(kBidConf, "bid_token_status", "already_join_corvane");
        write_text(kAgentLink, id.empty() ? "" : "DEV_ID=\"" + id + "\"\n");
        (void)requests();
        Outcome outcome = on_document(corvane::device_unregister);
        outcome.words += " " + stored(kBidConf, "bid_token_status");
        return outcome;
    }
    static Outcome leave() { return leave_as("dev-1"); }
};

TEST_F(Unregistration, DeletesTheDeviceAndThenTheMarkerAlone) {
    const std::string id = enrol_device().device_id;
    LogReader log;
    EXPECT_EQ(
        R"(0 {"device_unregister_response":"{\"deviceId\":\")" + id + R"(\",\"message\":\"deleted\"}","kept":1} )",
        leave_as(id).text());
    EXPECT_EQ(std::vector{"DELETE corvane-api.harbex.example/cvnms/bthings/api/v1/devices/" + id +
                          "\nContent-Type: application/json\nAuthorization: " + corvane_token() +
                          "\nvellumToken: " + vellum_token() + "\n"},
              request_texts());
    EXPECT_EQ("INFO Successfully cleared bid_token_status", log.lines().back());
    EXPECT_TRUE(std::filesystem::exists(kAgentLink));

    const std::string failed = "Failed to unregister device";
    const std::string kept = R"({"device_unregister_response":"","kept":1} already_join_corvane)";
    expect_faults("cloud:/cvnms/bthings/api/v1/devices/*", leave,
                  {{"status:404,body:{\"x\":1}", 82,
                    R"({"device_unregister_response":"{\"x\":1}","kept":1} already_join_corvane)", failed},
                   {"refuse", 7, kept, failed}});
    const std::string joined = kKept + " already_join_corvane";
    expect_faults("harbex_network_service.Get_cloudtoken", leave,
                  {{R"(body:{"error":1})", 63, joined, "Failed to obtain vellumToken"}});
    expect_faults("harbex_network_service.Get_corvanetoken", leave,
                  {{R"(body:{"error":1})", 64, joined, "Failed to get corvane token"}});
    begin();
    EXPECT_EQ("69 " + joined, leave_as("").text());
    EXPECT_EQ("Failed to get corvane device id", last_error(log));
    EXPECT_EQ("", requests());
    const std::string next = enrol_device().device_id;
    const Broken tool(kSetcfg, "bid_token_status", 2);
    const Outcome gone = leave_as(next);
    EXPECT_EQ(0, gone.code) << "the device is gone, whatever the marker says";
    EXPECT_TRUE(gone.words.ends_with("} already_join_corvane"));
    EXPECT_EQ("Failed to clear bid_token_status", last_error(log));
}

}  // namespace
}  // namespace harbex::test
