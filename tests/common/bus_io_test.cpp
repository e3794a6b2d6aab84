#include "common/bus_io.h"

#include "common/error_code.h"
#include "common/in_folder.h"
#include "common/json_owner.h"
#include "support/log_reader.h"

namespace harbex::corvane {
namespace {

TEST(DumpCallbacks, SerialiseWholeRequests) {
    const JsonOwner request(json_pack("{s:s, s:[i,i]}", "name_interface", "eth0", "list", 1, 2));
    for (const json_dump_callback_t callback : {json_write_io, json_write_bsh_io}) {
        const bs_auto_io io;
        EXPECT_EQ(0, json_dump_callback(request.get(), callback, io.get(), JSON_COMPACT));
        EXPECT_EQ(0, callback(" and more", 4, io.get()));
        EXPECT_STREQ(R"({"name_interface":"eth0","list":[1,2]} and)", bs_io_read(io.get(), nullptr));
        EXPECT_EQ(-5, callback("abcd", 4, nullptr));
    }
}

TEST(ResponseChecker, JudgesTheErrorMember) {
    const struct {
        const char* reply;
        int result;
        test::Lines logged;
    } cases[] = {
        {R"({"error":"5"})", NO_ERROR, {}},
        {"", ERR_BS_IO_FAILED, {"ERROR Failed to check bsh response because root is NULL"}},
        {R"({"error":-4294967296,"error_message":"%s%n"})",
         ERR_WRONG_JSON_FORMAT,
         {"ERROR bsh response error -4294967296, msg = %s%n"}},
    };
    test::LogReader trace;
    for (const auto& c : cases) {
        EXPECT_EQ(c.result, bsh_response_checker(JsonOwner(json_loads(c.reply, 0, nullptr)).get())) << c.reply;
        EXPECT_EQ(c.logged, trace.lines()) << c.reply;
    }
}

}  // namespace
}  // namespace harbex::corvane
