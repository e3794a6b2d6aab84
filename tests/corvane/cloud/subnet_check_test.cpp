#include "corvane/cloud/subnet_check.h"

#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

constexpr const char* kCheck = "cloud:/corvane/bthings/api/v1/ip_subnet_check";

std::string check(std::string address) {
    const int code = corvane::corvane_api_ip_subnet_check(address);
    return std::to_string(code) + " " + address;
}
std::string check_free() {
    return check("10.8.0.9");
}
// With what the log tells of a clash.
std::string check_and_tell() {
    TraceReader log;
    std::string outcome = check_free();
    for (const std::string& line : log.lines()) {
        if (line.starts_with("INFO IP subnet conflict ")) outcome += "," + line.substr(23);
    }
    return outcome;
}

using SubnetCheck = SignedInNas;

TEST_F(SubnetCheck, AsksTheCloud) {
    EXPECT_EQ("0 10.8.0.21", check("10.8.0.21"));
    EXPECT_EQ("0 10.8.0.5", check("192.168.1.20")) << "clashes with the LAN";
    TraceReader log;
    EXPECT_EQ("49 \xff", check("\xff"));
    EXPECT_EQ("Failed to serialize JSON", last_error(log));
    replace_in(kCorvaneConf, "CORVANE_ORG_ID = org-7f3a1c\n", "");
    EXPECT_EQ("63 10.8.0.9", check_free());
    EXPECT_EQ("Failed to get Corvane token", last_error(log));
    const std::string request = "POST /corvane/bthings/api/v1/ip_subnet_check";
    EXPECT_EQ(request + "\n" + request, requests());
}

TEST_F(SubnetCheck, TakesTheFirstSuggestionOfAClash) {
    const std::string status = "[easycurl] HTTP request failed with status code: ";
    const std::string ips = "detected. Original IP: 10.8.0.9, Suggested IP: ";
    const std::string none = "0 10.8.0.9, not " + ips + "10.8.0.9";
    const auto told = [&](const std::string& ip) { return "0 " + ip + ", " + ips + ip + ", " + ips + ip; };
    expect_faults(
        kCheck, check_and_tell,
        {
            {R"(body:{"data":[{"data":{"sugIPNet":"10.8.0.5/24"}}]})", "0 10.8.0.9", ""},
            {R"(status:409,body:{"data":[{"data":{"sugIPNet":""}},7,{"data":[]},{"data":{"sugIPNet":"10.8.0.5/2/4"}},)"
             R"({"data":{"sugIPNet":"10.8.0.6/24"}}]})",
             told("10.8.0.5"), status + "409"},
            {R"(status:300,body:{"data":[{"data":{"sugIPNet":"10.8.0.5"}}]})", told("10.8.0.5"), status + "300"},
            {R"(status:409,body:{"data":[{"data":{"sugIPNet":"/24"}}]})", told(""), status + "409"},
            {R"(status:409,body:{"data":[{"data":{"sugIPNet":"10.8.0.9/24"}}]})",
             "0 10.8.0.9, " + ips + "10.8.0.9, not " + ips + "10.8.0.9", status},
            {R"(status:409,body:{"data":[{"sugIPNet":"10.8.0.5/24"}]})", none, status},
            {"status:404,body:[]", none, status},
            {"status:502,body:<", "49 10.8.0.9", "Failed to parse JSON response: " + parser_text("<")},
            {"refuse", "7 10.8.0.9", "Failed to call corvane api ip_subnet_check, response: , error: 7"},
        });
}

}  // namespace
}  // namespace harbex::test
