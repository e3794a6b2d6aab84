#include "common/last_exchange.h"

#include <cstdio>
#include <string_view>

namespace harbex::system {
namespace {

// No destructor: a thread may still ask while it ends.
thread_local LastExchange exchange;

std::string_view host_of(std::string_view url) {
    if (const size_t scheme = url.find("://"); scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
    return url.substr(0, url.find_first_of("/?#"));
}

}  // namespace

const LastExchange& last_exchange() {
    return exchange;
}

void forget_last_exchange() {
    exchange = {};
}

void note_transfer(const char* url, int result, long http_status) {
    const std::string_view host = host_of(url == nullptr ? "" : url);
    exchange = {.kind = LastExchange::Kind::kTransfer, .result = result, .status = http_status};
    (void)std::snprintf(exchange.peer, sizeof exchange.peer, "%.*s", static_cast<int>(host.size()), host.data());
}

void note_bus_call(const char* service, int result) {
    exchange = {.kind = LastExchange::Kind::kBusCall, .result = result};
    (void)std::snprintf(exchange.peer, sizeof exchange.peer, "%s", service);
}

void note_bus_answer(const json_t* answer) {
    if (exchange.kind != LastExchange::Kind::kBusCall) return;
    exchange.status = static_cast<long>(json_integer_value(json_object_get(answer, "error")));
    const char* const words = json_string_value(json_object_get(answer, "error_message"));
    (void)std::snprintf(exchange.words, sizeof exchange.words, "%s", words == nullptr ? "" : words);
}

}  // namespace harbex::system
