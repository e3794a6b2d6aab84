#include "corvane/cloud/subnet_check.h"

#include "support/nas.h"

namespace harbex::test {
namespace {

constexpr const char* kCheck = "cloud:/corvane/bthings/api/v1/ip_subnet_check";

Outcome check(std::string address) {
    const int code = corvane::corvane_api_ip_subnet_check(address);
    return {code, address};
}
// With what the log tells of a clash.
Outcome check_and_tell() {
    LogReader log;
    Outcome outcome = check("10.8.0.9");
    for (const std::string& line : log.lines()) {
        if (line.starts_with("INFO IP subnet conflict ")) outcome.words += "," + line.substr(23);
    }
    return outcome;
}

using SubnetCheck = SignedInNas;

TEST_F(SubnetCheck, TakesTheFirstSuggestionOfAClash) {
    EXPECT_EQ("0 10.8.0.21", check("10.8.0.21").text());
    EXPECT_EQ("0 10.8.0.5", check("192.168.1.20").text()) << "clashes with the LAN";
    const std::string request = "POST /corvane/bthings/api/v1/ip_subnet_check";
    EXPECT_EQ(request + "\n" + request, requests());
    LogReader log;
    EXPECT_EQ("49 \xff", check("\xff").text());
    EXPECT_EQ("Failed to serialize JSON", last_error(log));
    set_setting(kCorvaneConf, "CORVANE_ORG_ID", "");
    EXPECT_EQ("63 10.8.0.9", check("10.8.0.9").text());
    EXPECT_EQ("Failed to get Corvane token", last_error(log));
    EXPECT_EQ("", requests());

    const std::string status = "[easycurl] HTTP request failed with status code: ";
    const std::string ips = "detected. Original IP: 10.8.0.9, Suggested IP: ";
    const std::string none = "10.8.0.9, not " + ips + "10.8.0.9";
    const auto told = [&](const std::string& ip) { return ip + ", " + ips + ip + ", " + ips + ip; };
    expect_faults(
        kCheck, check_and_tell,
        {{R"(body:{"data":[{"data":{"sugIPNet":"10.8.0.5/24"}}]})", 0, "10.8.0.9", ""},
         {R"(status:409,body:{"data":[{"data":{"sugIPNet":""}},7,{"data":[]},{"data":{"sugIPNet":"10.8.0.5/2/4"}},)"
          R"({"data":{"sugIPNet":"10.8.0.6/24"}}]})",
          0, told("10.8.0.5"), status + "409"},
         {R"(status:300,body:{"data":[{"data":{"sugIPNet":"10.8.0.5"}}]})", 0, told("10.8.0.5"), status + "300"},
         {R"(status:409,body:{"data":[{"data":{"sugIPNet":"/24"}}]})", 0, told(""), status + "409"},
         {R"(status:409,body:{"data":[{"data":{"sugIPNet":"10.8.0.9/24"}}]})", 0,
          "10.8.0.9, " + ips + "10.8.0.9, not " + ips + "10.8.0.9", status},
         {R"(status:409,body:{"data":[{"sugIPNet":"10.8.0.5/24"}]})", 0, none, status},
         {"status:404,body:[]", 0, none, status},
         {"status:502,body:<", 49, "10.8.0.9", "Failed to parse JSON response: " + parser_text("<")},
         {"refuse", 7, "10.8.0.9", "Failed to call corvane api ip_subnet_check, response: , error: 7"}});
}

}  // namespace
}  // namespace harbex::test
