#include "command.h"
#include "commands.h"
#include "common/error_code.h"
#include "common/number.h"
#include "services.h"

namespace harbex::tools {
namespace {

constexpr Group kGroups[] = {
    {"token", "The cloud account token"},
    {"org", "The user's organisations"},
    {"region", "The regions of the chosen organisation"},
    {"virtual-ip", "This NAS's address in the SD-WAN"},
    {"supernode", "The super node"},
    {"agent", "The edge daemon and the cloud agent"},
    {"vpn", "The VPN servers and clients of this NAS"},
    {"tour", "The feature tour of the application's pages"},
    {"event", "The system event log"},
};

constexpr Option kDryRun{"--dry-run", nullptr, "Show requests, writes and scripts, and do none of it"};
constexpr Option kForce{"--force", nullptr, "Store it although the cloud's list cannot be had"};
constexpr Option kTimeout{"--timeout", "S", "How long to wait, in seconds"};

const Command kCommands[] = {
    {"", "status", "Where this NAS stands, and what to type next", "status --timeout 3", {}, {kTimeout}, {}, status},
    {"",
     "wait",
     "Wait until something is as it should be",
     "wait --for tunnels --timeout 120",
     {},
     {{"--for", "internet|signed-in|joined|tunnels", "What to wait for"}, kTimeout},
     {},
     wait_for},
    {"",
     "precheck",
     "Whether this NAS is ready to join; removes an unfinished sign-in",
     "precheck",
     {},
     {{"--look", nullptr, "Only look: delete, store and renew nothing"}},
     {},
     precheck},
    {"",
     "sign-in",
     "Hand the cloud's encoded sign-in answer to the daemon",
     "sign-in answer.txt",
     {{"FILE", "The file with the answer; standard input without it, or for -", true}},
     {},
     {kNetworkService, ERR_BS_CALL_FAILED},
     sign_in},
    {"token",
     "refresh",
     "Renew the cloud account token now",
     "token refresh",
     {},
     {},
     {kNetworkService, ERR_BS_CALL_FAILED},
     token_refresh},
    {"org",
     "list",
     "The user's organisations",
     "org list",
     {},
     {},
     {kNetworkService, ERR_CORVANE_GETCLOUDTOKEN},
     org_list},
    {"org",
     "create",
     "Create an organisation",
     "org create 'Field Office'",
     {{"NAME", "Its name"}},
     {},
     {kNetworkService, ERR_CORVANE_GETCLOUDTOKEN},
     org_create,
     false},
    {"org",
     "use",
     "Choose the organisation to join",
     "org use org-7f3a1c 'Field Office'",
     {{"ID", "Its id, as org list shows it"}, {"NAME", "The name to show; the id without it", true}},
     {kForce},
     {kNetworkService, ERR_CORVANE_GETCLOUDTOKEN},
     org_use},
    {"region", "list", "The chosen organisation's regions", "region list", {}, {}, {}, region_list},
    {"region",
     "use",
     "Choose the region to join",
     "region use auto",
     {{"ID", "Its id, as region list shows it; \"auto\" lets the cloud's topology decide"},
      {"NAME", "The name to show; the id without it", true}},
     {kForce},
     {},
     region_use},
    {"", "join", "Join the chosen organisation and start the agents", "join", {}, {kDryRun}, {}, join},
    {"",
     "leave",
     "Leave the organisation and stop the agents",
     "leave",
     {},
     {kDryRun, {"--local", nullptr, "Without the cloud: the device stays there until somebody deletes it"}},
     {},
     leave},
    {"virtual-ip",
     "set",
     "Change this NAS's address in the SD-WAN",
     "virtual-ip set 10.8.0.42",
     {{"IP", "The new address, a dotted quad"}},
     {},
     {},
     virtual_ip_set},
    {"supernode",
     "usage",
     "What is left of the super node's volume",
     "supernode usage",
     {},
     {},
     {kEdgeDaemon, ERR_CMD_FAILED},
     supernode_usage},
    {"supernode",
     "devices",
     "The super node's devices",
     "supernode devices",
     {},
     {},
     {kEdgeDaemon, ERR_CMD_FAILED},
     supernode_devices},
    {"supernode",
     "traffic",
     "The super node's traffic, day by day",
     "supernode traffic",
     {},
     {},
     {kEdgeDaemon, ERR_CMD_FAILED},
     supernode_traffic},
    {"supernode",
     "apply",
     "Write a super-node record's tunnel parameters",
     "supernode apply record.json",
     {{"FILE", "The cloud's record; standard input for -"}},
     {},
     {},
     supernode_apply},
    {"supernode",
     "halt",
     "Take the super node's tunnels down and forget its record",
     "supernode halt",
     {},
     {},
     {kNetworkService, ERR_BS_CALL_FAILED},
     supernode_halt},
    {"agent", "start", "Start what a join starts, after one that could not", "agent start", {}, {}, {}, agent_start},
    {"agent",
     "stop",
     "Stop the edge daemon and the cloud agent; the NAS stays joined",
     "agent stop",
     {},
     {},
     {},
     agent_stop},
    {"vpn", "list", "The VPN daemons that run", "vpn list", {}, {}, {}, vpn_list},
    {"vpn",
     "kick",
     "Drop the connections of a VPN service, or one of them",
     "vpn kick openvpn-server 10.8.1.6",
     {{"KIND", "pptp, l2tp, openvpn, spindle or wireguard, with -server or -client"},
      {"CONNECTION", "The one to drop; all without it", true}},
     {},
     {},
     vpn_kick},
    {"tour", "show", "The switches of the feature tour", "tour show", {}, {}, {}, tour_show},
    {"tour",
     "set",
     "Set the switches of the feature tour",
     "tour set true false",
     {{"INTRO", "Whether the introduction is shown: true or false"},
      {"TIP", "Whether tips are shown: true or false"}},
     {},
     {},
     tour_set},
    {"event",
     "add",
     "Write an entry to the system event log",
     "event add 'Moved to the new cabinet'",
     {{"TEXT", "What happened"}},
     {},
     {},
     event_add},
    {"",
     "internet",
     "Whether the internet is reached",
     "internet eth0",
     {{"INTERFACE", "The interface to go through; the default gateway's without it", true}},
     {},
     {kNetworkManager, ERR_CMD_FAILED},
     internet},
};

}  // namespace

std::string full_name(const Command& command) {
    return *command.group == '\0' ? command.name : std::string(command.group) + " " + command.name;
}

std::span<const Group> groups() {
    return kGroups;
}

std::span<const Command> commands() {
    return kCommands;
}

std::string Call::option(std::string_view name) const {
    for (size_t index = 0; index < option_names.size(); ++index) {
        if (option_names[index].name == name) return options[index];
    }
    return {};
}

int Call::timeout_s(int otherwise) const {
    return static_cast<int>(system::parse_int64(option(kTimeout.name)).value_or(otherwise));
}

}  // namespace harbex::tools
