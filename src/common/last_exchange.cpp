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
    exchange = {.kind = LastExchange::Kind::kTransfer, .result = result, .http_status = http_status};
    (void)std::snprintf(exchange.peer, sizeof exchange.peer, "%.*s", static_cast<int>(host.size()), host.data());
}

}  // namespace harbex::system
