#include "common/bus_exchange.h"

#include <cstdio>

#include "common/last_exchange.h"

namespace harbex::system {

bool BusExchange::stop_at(BusStep step) {
    stopped_at_ = step;
    return false;
}

bool BusExchange::write(const json_t* arguments) {
    if (stream() == nullptr) return stop_at(BusStep::kStream);
    if (arguments == nullptr) return true;
    const auto append = [this](const char* bytes, size_t size) {
        return corvane::json_write_bsh_io(bytes, size, stream()) == 0;
    };
    return dump_json(arguments, JSON_COMPACT, append) || stop_at(BusStep::kArguments);
}

bool BusExchange::call(const char* service, const char* method, int timeout_s) {
    constexpr int kLast = -1;  // the bus knows no other
    code_ = bs_call(service, method, stream(), timeout_s, kLast);
    note_bus_call(service, code_);
    return code_ == 0 || stop_at(BusStep::kCall);
}

bool BusExchange::read() {
    size_t length = 0;
    const char* const bytes = bs_io_read(stream(), &length);
    if (bytes == nullptr) return stop_at(BusStep::kRead);
    text_ = {bytes, length};
    return true;
}

bool BusExchange::parse() {
    document_ = parse_json(
        text_, [this](const char* words) { (void)std::snprintf(parser_words_, sizeof(parser_words_), "%s", words); });
    note_bus_answer(document_.get());
    return document_ != nullptr || stop_at(BusStep::kParse);
}

}  // namespace harbex::system
