#include "service/bus_client.h"

#include <bsvc.h>

#include <string>
#include <utility>

#include "common/bus_io.h"
#include "service/logger.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

BusReply stopped(int result, const char* words) {
    if (words == nullptr) return {result, "", {}};
    Logger::Log(ERROR, "%s", words);
    return {result, words, {}};
}

}  // namespace

BusReply call_service(const BusCall& call, const json_t* arguments) {
    bs_auto_io io;
    if (io.get() == nullptr) return stopped(E_BS_FAIL, call.call_failed);
    if (arguments != nullptr && json_dump_callback(arguments, corvane::json_write_io, io, JSON_COMPACT) != 0) {
        return stopped(E_JSON_FAIL, nullptr);
    }
    Logger::Log(DEBUG, "%s", call.announcement);
    if (bs_call(call.service, call.method, io, call.timeout_s, -1) != 0) return stopped(E_BS_FAIL, call.call_failed);

    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    if (bytes == nullptr) return stopped(E_BS_FAIL, call.no_reply);
    Logger::Log(DEBUG, "Response: %s %zu", std::string(bytes, length).c_str(), length);

    JsonOwner document(json_loadb(bytes, length, 0, nullptr));
    if (corvane::bsh_response_checker(document.get()) != 0) return stopped(E_BS_FAIL, call.rejected);
    return {E_SUCCESS, "", std::move(document)};
}

}  // namespace harbex::service
