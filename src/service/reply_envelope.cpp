#include "service/reply_envelope.h"

#include <string>

#include "common/json_owner.h"
#include "service/logger.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

// Callers read these replies with their blanks: flags 0, not compact. "" when there is no reply to dump.
std::string dump(const json_t* reply) {
    return json_dump_text(reply, 0);
}

bool replace_content(bs_io* io, const std::string& text) {
    (void)bs_io_realloc(io, 0);  // emptying cannot fail
    return bs_io_write(io, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace

int send_success_response(bs_io* io, json_t* payload) {
    const JsonOwner data(payload);
    if (payload == nullptr) return E_JSON_FAIL;
    const JsonOwner reply(
        json_pack("{s:O, s:i, s:{s:s}}", "data", payload, "error", E_SUCCESS, "meta", "version", "1.0"));
    const std::string text = dump(reply.get());
    if (text.empty()) {
        Logger::Log(ERROR, "send_success_response: reply_json cannot be dumped!");
    } else if (replace_content(io, text)) {
        (void)bs_reply(io);  // a caller that has hung up is no failure of the method
    } else {
        Logger::Log(ERROR, "bs_io write failed! content: %s", text.c_str());
    }
    return E_SUCCESS;
}

int send_error_response(bs_io* io, int code, const char* message) {
    const JsonOwner reply(json_pack("{s:s, s:i, s:s, s:{s:s}}", "data", "", "error", code, "error_message", message,
                                    "meta", "version", "1.0"));
    const std::string text = dump(reply.get());
    if (text.empty()) {
        Logger::Log(ERROR, "send_error_response: reply_json cannot be dumped!");
        return code;
    }
    (void)replace_content(io, text);
    (void)bs_reply(io);
    return code;
}

}  // namespace harbex::service
