// The outside of the product's fuzzers. Linked in front of the libraries, it takes the place of what would run tools,
// ask the cloud, call the bus or write logs.
#include <bsvc.h>
#include <jansson.h>

#include <cstdarg>
#include <cstdio>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/http.h"
#include "common/settings_tools.h"
#include "common/trace_log.h"
#include "fuzz.h"
#include "service/logger.h"

namespace fuzz {

using harbex::NO_ERROR;

Outside outside;

Outside signed_in(std::string_view answer) {
    __cur_level__ = HARBEXLOG_NOLOG;
    return {std::string(answer),
            NO_ERROR,
            R"({"error": 0, "data": "va1.token.4102444800"})",
            {{"CORVANE_ORG_ID", "org"},
             {"CORVANE_REGION_ID", "auto"},
             {"VELLUM_TOKEN", "va1.token.1"},
             {"VELLUM_REFRESH_TOKEN", "again"}}};
}

}  // namespace fuzz

namespace harbex::system {

int getcfg_wrapper(std::string, std::string, std::string key, std::string default_value, std::string& value) {
    const auto found = fuzz::outside.settings.find(key);
    value = found == fuzz::outside.settings.end() || found->second.empty() ? default_value : found->second;
    return NO_ERROR;
}

int getcfg_wrapper(const Setting& setting, std::string& value) {
    return getcfg_wrapper(setting.file, setting.section, setting.key, setting.fallback, value);
}

int setcfg_wrapper(std::string, std::string, std::string key, std::string value) {
    fuzz::outside.settings[key] = value;
    return NO_ERROR;
}

int do_exec(const char*, std::string& output) {
    output += fuzz::outside.answer;
    return 0;
}

int do_exec_safe(const std::vector<std::string>&, std::string& output) {
    output = fuzz::outside.answer;
    return 0;
}

int background(char* const*) {
    return NO_ERROR;
}

int RestTransfer::send(const RestRequest&, std::string& response) {
    response += fuzz::outside.answer;
    return fuzz::outside.result;
}

}  // namespace harbex::system

void harbex::service::Logger::Log(LogLevel, const char* fmt, ...) noexcept {
    char line[256];
    va_list arguments;
    va_start(arguments, fmt);
    // The analyser does not see va_start here.
    (void)std::vsnprintf(line, sizeof line, fmt, arguments);  // NOLINT(clang-analyzer-valist.Uninitialized)
    va_end(arguments);
}

void harbex::service::check_log_rotation() {}

int bs_call(const char*, const char*, bs_io* io, int, int) {
    (void)bs_io_realloc(io, 0);
    (void)bs_io_write(io, fuzz::outside.reply.data(), fuzz::outside.reply.size());
    return 0;
}

// Whatever came in, what goes out is an envelope.
int bs_reply(bs_io* io) {
    json_t* envelope = json_loads(bs_io_read(io, nullptr), 0, nullptr);
    fuzz::require(json_is_integer(json_object_get(envelope, "error")), "a reply is an envelope");
    json_decref(envelope);
    return 0;
}
