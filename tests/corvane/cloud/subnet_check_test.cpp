#include "corvane/cloud/subnet_check.h"

#include "common/error_code.h"
#include "support/signed_in_nas.h"

namespace harbex::test {
namespace {

using Lines = std::vector<std::string>;

class SubnetCheck : public SignedInNas {
protected:
    static std::string check(std::string address) {
        const int code = corvane::corvane_api_ip_subnet_check(address);
        return std::to_string(code) + " " + address;
    }
};

TEST_F(SubnetCheck, AsksTheCloud) {
    EXPECT_EQ("0 10.8.0.21", check("10.8.0.21"));
    EXPECT_EQ("0 10.8.0.5", check("192.168.1.20"));
    const Lines twice(2, "POST /corvane/bthings/api/v1/ip_subnet_check");
    EXPECT_EQ(twice, requests());

    TraceReader log;
    EXPECT_EQ("49 \xff", check("\xff"));
    EXPECT_EQ("Failed to serialize JSON", last_error(log));
    replace_in(kCorvaneConf, "CORVANE_ORG_ID = org-7f3a1c\n", "");
    EXPECT_EQ("63 10.8.0.21", check("10.8.0.21"));
    EXPECT_EQ("Failed to get Corvane token", last_error(log));
    EXPECT_EQ(Lines{}, requests());
}

TEST_F(SubnetCheck, TakesTheFirstSuggestionOfAClash) {
    const std::string detected = "INFO IP subnet conflict detected. Original IP: 10.8.0.9, Suggested IP: ";
    const std::string unchanged =
        "INFO IP subnet conflict not detected. Original IP: 10.8.0.9, Suggested IP: 10.8.0.9";
    const struct {
        const char* fault;
        const char* outcome;
        Lines last;  // the last lines of the log
    } cases[] = {
        {R"(body:{"data":[{"data":{"sugIPNet":"10.8.0.5/24"}}]})",
         "0 10.8.0.9",
         {"INFO [corvane_api_ip_subnet_check] No need to modify virtual ip"}},
        {R"(status:409,body:{"data":[{"data":{"sugIPNet":""}},7,{"data":[]},{"data":{"sugIPNet":"10.8.0.5/24/9"}},)"
         R"({"data":{"sugIPNet":"10.8.0.6/24"}}]})",
         "0 10.8.0.5",
         {detected + "10.8.0.5", detected + "10.8.0.5"}},
        {R"(status:300,body:{"data":[{"data":{"sugIPNet":"10.8.0.5"}}]})",
         "0 10.8.0.5",
         {detected + "10.8.0.5", detected + "10.8.0.5"}},
        {R"(status:409,body:{"data":[{"data":{"sugIPNet":"/24"}}]})", "0 ", {detected, detected}},
        {R"(status:409,body:{"data":[{"data":{"sugIPNet":"10.8.0.9/24"}}]})",
         "0 10.8.0.9",
         {detected + "10.8.0.9", unchanged}},
        {R"(status:409,body:{"data":[{"sugIPNet":"10.8.0.5/24"}]})", "0 10.8.0.9", {unchanged}},
        {R"(status:409,body:{"data":{"data":{"sugIPNet":"10.8.0.5/24"}}})", "0 10.8.0.9", {unchanged}},
        {R"(status:404,body:[])", "0 10.8.0.9", {unchanged}},
        {R"(status:502,body:<html>)",
         "49 10.8.0.9",
         {"ERROR Failed to parse JSON response: " + parser_text("<html>")}},
    };
    TraceReader log;
    for (const auto& c : cases) {
        const Fault fault("cloud:/corvane/bthings/api/v1/ip_subnet_check", c.fault);
        EXPECT_EQ(c.outcome, check("10.8.0.9")) << c.fault;
        const Lines lines = log.lines();
        ASSERT_GT(lines.size(), c.last.size()) << c.fault;
        EXPECT_EQ(c.last, Lines(lines.end() - static_cast<ptrdiff_t>(c.last.size()), lines.end())) << c.fault;
        const std::string before = lines[lines.size() - c.last.size() - 1];
        EXPECT_TRUE(before.starts_with("INFO corvane api ip_subnet_check response: ")) << before;
    }
    const Fault fault("cloud:/corvane/bthings/api/v1/ip_subnet_check", "refuse");
    EXPECT_EQ("7 10.8.0.9", check("10.8.0.9"));
    EXPECT_EQ("Failed to call corvane api ip_subnet_check, response: , error: 7", last_error(log));
}

}  // namespace
}  // namespace harbex::test
