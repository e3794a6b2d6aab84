#include "common/bus_io.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "support/trace_reader.h"

namespace harbex::corvane {
namespace {

std::string content(bs_io* io) {
    size_t size = 0;
    const char* bytes = bs_io_read(io, &size);
    return bytes == nullptr ? "" : std::string(bytes, size);
}

TEST(DumpCallbacks, SerialiseWholeRequests) {
    const JsonOwner request(json_pack("{s:s, s:[i,i]}", "name_interface", "eth0", "list", 1, 2));
    for (const json_dump_callback_t callback : {json_write_io, json_write_bsh_io}) {
        const bs_auto_io io;
        EXPECT_EQ(0, json_dump_callback(request.get(), callback, io.get(), JSON_COMPACT));
        EXPECT_EQ(R"({"name_interface":"eth0","list":[1,2]})", content(io));
        EXPECT_EQ(0, callback(" and more", 4, io.get()));
        EXPECT_EQ(R"({"name_interface":"eth0","list":[1,2]} and)", content(io));
        EXPECT_EQ(0, callback("", 0, io.get()));

        // A stream that memory was too short for.
        EXPECT_EQ(-5, callback("abcd", 4, nullptr));
        EXPECT_EQ(-1, json_dump_callback(request.get(), callback, nullptr, JSON_COMPACT));
    }
}

TEST(ResponseChecker, JudgesTheErrorMember) {
    const struct {
        const char* name;
        const char* reply;
        int result;
        std::vector<std::string> logged;
    } cases[] = {
        {"success", R"({"error":0,"data":{}})", NO_ERROR, {}},
        {"no integer counts as 0", R"({"error":"5"})", NO_ERROR, {}},
        {"no reply", "", ERR_BS_IO_FAILED, {"ERROR Failed to check bsh response because root is NULL"}},
        {"no error", R"({"data":[]})", ERR_WRONG_JSON_FORMAT, {"ERROR Failed to get error"}},
        {"more than 32 bits, and no format",
         R"({"error":-4294967296,"error_message":"%s%n"})",
         ERR_WRONG_JSON_FORMAT,
         {"ERROR bsh response error -4294967296, msg = %s%n"}},
        {"no message", R"({"error":5})", ERR_WRONG_JSON_FORMAT, {"ERROR bsh response error 5, msg = "}},
    };
    test::TraceReader trace;
    for (const auto& c : cases) {
        const JsonOwner reply(json_loads(c.reply, 0, nullptr));
        EXPECT_EQ(c.result, bsh_response_checker(reply.get())) << c.name;
        EXPECT_EQ(c.logged, trace.lines()) << c.name;
    }
}

}  // namespace
}  // namespace harbex::corvane
