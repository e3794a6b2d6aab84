#include "corvane/cloud/subnet_check.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

Outcome check(std::string address) {
    const int code = corvane::corvane_api_ip_subnet_check(address);
    return {code, address};
}
using SubnetCheck = SignedInNas;

TEST_F(SubnetCheck, TakesTheFirstSuggestionOfAClash) {
    EXPECT_EQ("0 10.8.0.21", check("10.8.0.21").text());
    EXPECT_EQ("0 10.8.0.5", check("192.168.1.20").text()) << "clashes with the LAN";
    EXPECT_EQ("49 \xff", check("\xff").text());
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "");
    EXPECT_EQ("63 10.8.0.9", check("10.8.0.9").text());

    const std::string status = "[easycurl] HTTP request failed with status code: ";
    expect_faults(
        "cloud:/corvane/bthings/api/v1/ip_subnet_check", [] { return check("10.8.0.9"); },
        {{R"(body:{"data":[{"data":{"sugIPNet":"10.8.0.5/24"}}]})", 0, "10.8.0.9", ""},
         {R"(status:409,body:{"data":[{"data":{"sugIPNet":""}},7,{"data":[]},{"data":{"sugIPNet":"10.8.0.5/2/4"}},)"
          R"({"data":{"sugIPNet":"10.8.0.6/24"}}]})",
          0, "10.8.0.5", status + "409"},
         {"status:404,body:[]", 0, "10.8.0.9", status},
         {"refuse", 7, "10.8.0.9", "Failed to call corvane api ip_subnet_check, response: , error: "}});
}

}  // namespace
}  // namespace harbex::test
