#include "service/bus_client.h"

#include <bsvc.h>

#include <string>
#include <utility>

#include "common/bus_io.h"
#include "service/error_code.h"
#include "service/logger.h"

namespace harbex::service {
namespace {

int json_write_io(const char* buffer, size_t size, void* io) {
    return static_cast<int>(bs_io_write(static_cast<bs_io*>(io), buffer, size) - static_cast<ssize_t>(size));
}

BusReply failed(int result, const char* words) {
    if (words == nullptr) return {result, "", {}};
    Logger::Log(ERROR, "%s", words);
    return {result, words, {}};
}

}  // namespace

BusReply call_service(const BusCall& call, const json_t* arguments) {
    bs_auto_io io;
    if (arguments != nullptr && json_dump_callback(arguments, json_write_io, io, JSON_COMPACT) != 0) {
        return failed(E_JSON_FAIL, nullptr);
    }
    Logger::Log(DEBUG, "%s", call.announcement);
    if (bs_call(call.service, call.method, io, call.timeout_s, -1) != 0) return failed(E_BS_FAIL, call.call_failed);

    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    if (bytes == nullptr) return failed(E_BS_FAIL, call.no_reply);
    Logger::Log(DEBUG, "Response: %s %zu", std::string(bytes, length).c_str(), length);

    JsonOwner document(json_loadb(bytes, length, 0, nullptr));
    if (corvane::bsh_response_checker(document.get()) != 0) return failed(E_BS_FAIL, call.rejected);
    return {E_SUCCESS, "", std::move(document)};
}

}  // namespace harbex::service
