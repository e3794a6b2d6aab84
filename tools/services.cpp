#include "services.h"

#include <bsvc.h>

#include <iterator>
#include <string_view>

#include "common/bus_io.h"

namespace harbex::tools {
namespace {

struct Name {
    std::string_view service;
    const char* text;
};
constexpr Name kNames[] = {
    {system::kNetworkService, "the daemon (harbex_network_service)"},
    {system::kNetworkManager, "the network manager (NetworkService)"},
    {system::kEdgeDaemon, "the edge daemon (corvane_expressd)"},
};

}  // namespace

Life probe(const char* service, int timeout_s) {
    const bs_auto_io io;
    switch (bs_call(service, "?", io, timeout_s, -1)) {
        case BS_CALL_NO_SERVICE:
        case BS_CALL_REFUSED:
            return Life::kDown;
        case BS_CALL_TIMEOUT:
            return Life::kSilent;
        default:
            return Life::kUp;
    }
}

const char* name_for_people(const char* service) {
    for (const Name& name : kNames) {
        if (name.service == service) return name.text;
    }
    return service;
}

const char* word_for(Life life) {
    switch (life) {
        case Life::kUp:
            return "up";
        case Life::kDown:
            return "down";
        case Life::kSilent:
            break;
    }
    return "silent";
}

}  // namespace harbex::tools
