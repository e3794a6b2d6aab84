#include "corvane/device/bus_query.h"

#include <utility>

#include "common/bus_io.h"

namespace harbex::corvane {
namespace {

using system::BusExchange;

constexpr int kTimeout_s = 60;

void log_failed_call(const CallSite& caller, const BusQuery& query, int result, const char* words) {
    if (words == nullptr) words = query.call_failed;
    if (words != nullptr) return log_at(caller, HARBEXLOG_ERROR, words);
    if (!system::is_trace_level_on(HARBEXLOG_ERROR)) return;
    system::write_trace(HARBEXLOG_ERROR, caller, _iot_lock_fd, "%s: bs_call failed, method: %s, ret: %d\n",
                        caller.function, query.method, result);
}

BusAnswer failed(const CallSite& caller, const BusQuery& query, BusStep step) {
    if (query.rejected != nullptr) log_at(caller, HARBEXLOG_ERROR, query.rejected);
    return {step, {}};
}

bool call(BusExchange& exchange, const CallSite& caller, const BusQuery& query, const json_t* arguments) {
    if (!exchange.write(arguments)) {
        const bool no_stream = exchange.stopped_at() == BusStep::kStream;
        log_failed_call(caller, query, exchange.code(), no_stream ? query.no_stream : query.bad_arguments);
        return false;
    }
    if (query.announcement != nullptr) log_at(caller, HARBEXLOG_INFO, query.announcement);
    if (exchange.call(query.service, query.method, kTimeout_s)) return true;
    log_failed_call(caller, query, exchange.code(), query.call_failed);
    return false;
}

}  // namespace

BusAnswer query_service(const BusQuery& query, const json_t* arguments, const CallSite& caller) {
    BusExchange exchange;
    if (!call(exchange, caller, query, arguments)) return {exchange.stopped_at(), {}};
    if (!exchange.read() && query.no_reply != nullptr) {
        log_at(caller, HARBEXLOG_ERROR, query.no_reply);
        return {BusStep::kRead, {}};
    }
    if (query.reply_label != nullptr) log_at(caller, HARBEXLOG_INFO, query.reply_label, exchange.text().data());
    if (!exchange.parse()) {
        if (query.unparsable != nullptr) {
            log_at(caller, HARBEXLOG_ERROR, query.unparsable, exchange.parser_words());
        } else {
            (void)bsh_response_checker(nullptr);
        }
        return failed(caller, query, BusStep::kParse);
    }
    JsonOwner document = exchange.take_document();
    if (query.check_envelope && bsh_response_checker(document.get()) != 0) {
        return failed(caller, query, BusStep::kCheck);
    }
    return {BusStep::kDone, std::move(document)};
}

bool notify_service(const BusQuery& query, const json_t* arguments, const CallSite& caller) {
    BusExchange exchange;
    return call(exchange, caller, query, arguments);
}

}  // namespace harbex::corvane
