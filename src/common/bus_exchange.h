// One call of another bus service, step by step and silent: what is said of a step, and when, is its caller's. The
// library's own; over it stand corvane/device/bus_query and service/bus_client with their words.
#pragma once

#include <bsvc.h>
#include <jansson.h>

#include <string_view>

#include "common/bus_io.h"
#include "common/json_owner.h"

namespace harbex::system {

enum class BusStep {
    kDone,
    kStream,
    kArguments,
    kCall,
    kRead,
    kParse,
    kCheck,  // for callers that judge the reply
};

// The steps in their order: write, call, read, parse. Each is true when it went well; the first failure ends the
// exchange, except that an empty reply may still be given to the parser. Serves one call in one thread.
class BusExchange {
public:
    // `arguments` is borrowed; null leaves the request empty. Fails at kStream or kArguments.
    [[nodiscard]] bool write(const json_t* arguments);
    // Waits for the reply, for at most `timeout_s`.
    [[nodiscard]] bool call(const char* service, const char* method, int timeout_s);
    // False for an empty reply.
    [[nodiscard]] bool read();
    [[nodiscard]] bool parse();

    // Where the request is written and the reply arrives; null when memory was short.
    [[nodiscard]] bs_io* stream() const { return io_.get(); }
    // The step that failed last; kDone when none did.
    [[nodiscard]] BusStep stopped_at() const { return stopped_at_; }
    // What bs_call returned; -1 before the call.
    [[nodiscard]] int code() const { return code_; }
    // The reply, with a NUL behind its last byte; empty before it is read. Valid as long as this object.
    [[nodiscard]] std::string_view text() const { return text_; }
    // Why the reply is no JSON.
    [[nodiscard]] const char* parser_words() const { return parser_words_; }
    // The parsed reply, once.
    [[nodiscard]] JsonOwner take_document() { return std::move(document_); }

private:
    bool stop_at(BusStep step);

    bs_auto_io io_;
    BusStep stopped_at_ = BusStep::kDone;
    int code_ = -1;
    std::string_view text_ = "";
    char parser_words_[JSON_ERROR_TEXT_LENGTH] = "";
    JsonOwner document_;
};

}  // namespace harbex::system
