// The NAS's own VPN servers and clients: their daemons and their connections.
#include <algorithm>
#include <iterator>

#include "commands.h"
#include "common/error_code.h"
#include "common/process_table.h"

namespace harbex::tools {
namespace {

struct Kind {
    TYPE type;
    const char* name;
};
constexpr Kind kKinds[] = {
    {PPTP_SERVER_TYPE, "pptp-server"},           {L2TP_SERVER_TYPE, "l2tp-server"},
    {OVPN_SERVER_TYPE, "openvpn-server"},        {SPINDLE_SERVER_TYPE, "spindle-server"},
    {WIREGUARD_SERVER_TYPE, "wireguard-server"}, {PPTP_CLIENT_TYPE, "pptp-client"},
    {L2TP_CLIENT_TYPE, "l2tp-client"},           {OVPN_CLIENT_TYPE, "openvpn-client"},
    {SPINDLE_CLIENT_TYPE, "spindle-client"},     {WIREGUARD_CLIENT_TYPE, "wireguard-client"},
};

}  // namespace

Outcome vpn_list(Call& call) {
    system::VpnProcess table;
    (void)table.update();  // always 0
    call.data << "";
    call.data.erase();  // an array, also when nothing runs
    for (const system::Process& process : table.processes) {
        const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                              [&](const Kind& row) { return row.type == process.type; });
        auto* const entry = new JsonValue;  // the list's from the next line on
        call.data.append(entry);
        (*entry)["pid"] = process.pid;
        (*entry)["kind"] = kind == std::end(kKinds) ? "unknown" : kind->name;
        (*entry)["profile"] = process.index;
    }
    return NO_ERROR;
}

Outcome vpn_kick(Call& call) {
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [&](const Kind& row) { return call.arguments[0] == row.name; });
    if (kind == std::end(kKinds)) {
        std::string names;
        for (const Kind& row : kKinds)
            names += (names.empty() ? "" : ", ") + std::string(row.name);
        return {ERR_VALUE, Cause{.ending = Ending::kFailed,
                                 .sentence = "'" + call.arguments[0] + "' is no kind of VPN.",
                                 .remedy = "one of " + names}};
    }
    if (call.arguments[1].empty()) {
        system::kick_all_connection(kind->type, "");
    } else {
        system::kick_one_connection(kind->type, call.arguments[1].c_str());
    }
    call.text = "The VPN control script was started; it reports nothing back.\n";
    return NO_ERROR;
}

}  // namespace harbex::tools
