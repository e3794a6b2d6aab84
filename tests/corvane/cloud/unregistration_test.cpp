#include "corvane/cloud/unregistration.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

Outcome leave_as(const std::string& id) {
    set_setting(kBidConf, "bid_token_status", "already_join_corvane");
    write_text("/opt/harbex/etc/cloudagent/cloudagent.cfg", id.empty() ? "" : "DEV_ID=\"" + id + "\"\n");
    Outcome outcome = on_document(corvane::device_unregister);
    outcome.words += " " + stored(kBidConf, "bid_token_status");
    return outcome;
}
Outcome leave() {
    return leave_as("dev-1");
}

using Unregistration = SignedInNas;

TEST_F(Unregistration, DeletesTheDeviceAndThenTheMarkerAlone) {
    const std::string id = enrol();
    EXPECT_EQ(
        R"(0 {"device_unregister_response":"{\"deviceId\":\")" + id + R"(\",\"message\":\"deleted\"}","kept":1} )",
        leave_as(id).text());
    EXPECT_EQ(std::vector{"DELETE corvane-api.harbex.example/cvnms/bthings/api/v1/devices/" + id +
                          "\nContent-Type: application/json\nAuthorization: " + corvane_token() +
                          "\nvellumToken: " + vellum_token() + "\n"},
              request_texts());
    EXPECT_TRUE(std::filesystem::exists(kAgentLink));

    expect_faults("cloud:/cvnms/bthings/api/v1/devices/*", leave,
                  {{"status:404,body:{\"x\":1}", 82,
                    R"({"device_unregister_response":"{\"x\":1}","kept":1} already_join_corvane)",
                    "Failed to unregister device"}});
    const std::string joined = kKept + " already_join_corvane";
    expect_faults("harbex_network_service.Get_corvanetoken", leave,
                  {{R"(body:{"error":1})", 64, joined, "Failed to get corvane token"}});
    begin();
    EXPECT_EQ("69 " + joined, leave_as("").text());
    EXPECT_EQ("", requests());
}

}  // namespace
}  // namespace harbex::test
