#include "service/bus_client.h"

#include <utility>

#include "common/bus_exchange.h"
#include "service/logger.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

using system::BusStep;

BusReply stopped(const char* words) {
    if (*words != '\0') Logger::Log(ERROR, "%s", words);
    return {E_BS_FAIL, words, {}};
}

}  // namespace

BusReply call_service(const BusCall& call, const json_t* arguments) {
    system::BusExchange exchange;
    if (!exchange.write(arguments)) {
        return exchange.stopped_at() == BusStep::kArguments ? BusReply{E_JSON_FAIL, "", {}}
                                                            : stopped(call.call_failed);
    }
    Logger::Log(DEBUG, "%s", call.announcement);
    if (!exchange.call(call.service, call.method, call.timeout_s)) return stopped(call.call_failed);
    if (!exchange.read()) return stopped(call.no_reply);
    Logger::Log(DEBUG, "Response: %s %zu", exchange.text().data(), exchange.text().size());

    JsonOwner document = exchange.parse() ? exchange.take_document() : JsonOwner();
    if (corvane::bsh_response_checker(document.get()) != 0) return stopped(call.rejected);
    return {E_SUCCESS, "", std::move(document)};
}

}  // namespace harbex::service
