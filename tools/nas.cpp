// This NAS itself: the way to the internet, the application's pages, the event log.
#include <strings.h>

#include "commands.h"
#include "common/error_code.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "eventlog/event_log.h"

namespace harbex::tools {

Outcome internet(Call& call) {
    const std::string ifname = call.arguments[0].empty() ? corvane::get_gateway_interface_name() : call.arguments[0];
    const int result = corvane::bsh_check_access_internet(ifname);
    call.data["interface"] = ifname;
    call.data["reachable"] = result == NO_ERROR;
    return result;
}

Outcome tour_show(Call& call) {
    return corvane::feature_tour_show(call.data);
}

// The library takes nearly any text; only these two mean something to the pages.
Outcome tour_set(Call& call) {
    for (const std::string& value : call.arguments) {
        if (strcasecmp(value.c_str(), "true") == 0 || strcasecmp(value.c_str(), "false") == 0) continue;
        return {ERR_UNKNOWN_OPTION, Cause{.ending = Ending::kFailed,
                                          .sentence = "'" + value + "' is neither true nor false.",
                                          .remedy = "harbexctl tour set true false, for example"}};
    }
    return corvane::feature_tour_set(call.arguments[0].c_str(), call.arguments[1].c_str());
}

Outcome event_add(Call& call) {
    system::add_log(call.arguments[0], 0);  // the event log reports nothing back
    return NO_ERROR;
}

}  // namespace harbex::tools
