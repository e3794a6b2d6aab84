#include "common/bus_query.h"

#include <bsvc.h>

#include <new>
#include <string>
#include <utility>

#include "common/bus_io.h"
#include "common/trace_log.h"

namespace harbex::corvane {
namespace {

constexpr int kTimeout_s = 60;

// "LABEL: TEXT", as a statement of the operation that called.
void log_labelled(const CallSite& caller, int level, const char* label, const char* text) {
    if (system::is_trace_level_on(level)) {
        system::write_trace(level, caller.file, caller.line, caller.function, _iot_lock_fd, "%s: %s\n", label, text);
    }
}

void log_failure(const CallSite& caller, const char* words) {
    if (words != nullptr) log_at(caller, HARBEXLOG_ERROR, words);
}

void log_failed_call(const CallSite& caller, const BusQuery& query, int result) {
    if (query.call_failed != nullptr) return log_failure(caller, query.call_failed);
    const std::string words =
        "bs_call failed, method: " + std::string(query.method) + ", ret: " + std::to_string(result);
    log_labelled(caller, HARBEXLOG_ERROR, caller.function, words.c_str());
}

// A call that did not come about is logged in its own words, or as one that failed.
void log_unmade_call(const CallSite& caller, const BusQuery& query, const char* words) {
    if (words != nullptr) return log_failure(caller, words);
    log_failed_call(caller, query, -1);
}

BusStep call(bs_io* io, const CallSite& caller, const BusQuery& query, const json_t* arguments) {
    if (io == nullptr) {
        log_unmade_call(caller, query, query.no_stream);
        return BusStep::kStream;
    }
    if (arguments != nullptr && json_dump_callback(arguments, json_write_bsh_io, io, JSON_COMPACT) != 0) {
        log_unmade_call(caller, query, query.bad_arguments);
        return BusStep::kArguments;
    }
    if (query.announcement != nullptr) log_at(caller, HARBEXLOG_INFO, query.announcement);
    const int result = bs_call(query.service, query.method, io, kTimeout_s, -1);
    if (result == 0) return BusStep::kDone;
    log_failed_call(caller, query, result);
    return BusStep::kCall;
}

}  // namespace

BusAnswer query_service(const BusQuery& query, const json_t* arguments, const CallSite& caller) try {
    bs_auto_io io;
    const BusStep called = call(io, caller, query, arguments);
    if (called != BusStep::kDone) return {called, {}};

    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    if (bytes == nullptr && query.no_reply != nullptr) {
        log_failure(caller, query.no_reply);
        return {BusStep::kRead, {}};
    }
    const std::string reply(bytes == nullptr ? "" : bytes, bytes == nullptr ? 0 : length);
    if (query.reply_label != nullptr) log_labelled(caller, HARBEXLOG_INFO, query.reply_label, reply.c_str());

    json_error_t error{};
    JsonOwner document(json_loadb(reply.data(), reply.size(), 0, &error));
    if (!document) {
        if (query.unparsable != nullptr) log_labelled(caller, HARBEXLOG_ERROR, query.unparsable, error.text);
        // The checker has its own line for a reply that is none.
        if (query.check_envelope && query.unparsable == nullptr) (void)bsh_response_checker(nullptr);
        log_failure(caller, query.rejected);
        return {BusStep::kParse, {}};
    }
    if (query.check_envelope && bsh_response_checker(document.get()) != 0) {
        log_failure(caller, query.rejected);
        return {BusStep::kCheck, {}};
    }
    return {BusStep::kDone, std::move(document)};
} catch (const std::bad_alloc&) {
    return {BusStep::kRead, {}};
}

bool notify_service(const BusQuery& query, const json_t* arguments, const CallSite& caller) {
    bs_auto_io io;
    return call(io, caller, query, arguments) == BusStep::kDone;
}

}  // namespace harbex::corvane
