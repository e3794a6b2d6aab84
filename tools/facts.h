// What this NAS's services and settings say of it, asked all at once.
#pragma once

#include <optional>
#include <string>

#include "account_token.h"
#include "ask.h"
#include "services.h"

namespace harbex::tools {

// A text that could be read, or could not.
using Known = std::optional<std::string>;

struct Peer {
    std::string name;
    std::string ip;
    int tunnels = 0;  // 0 none up, 1 all, 2 some

    [[nodiscard]] bool is_named() const { return !name.empty() && !ip.empty(); }
};

struct Enrolment {
    std::optional<bool> is_on_corvane;  // the cloud agent has its configuration
    bool is_marked = false;             // the enrolment came to its end
    Known org_id;
    Known org_name;
    Known region_id;
    Known region_name;
    Known virtual_ip;
    AccountToken token;
};

// What is empty could not be had; `…_answered` tells silence from a refusal.
struct Facts {
    Life daemon = Life::kSilent;
    Life manager = Life::kSilent;
    Life edge = Life::kSilent;
    bool settings_answered = false;
    Enrolment enrolment;
    std::string gateway_ifname;
    std::string gateway_ip;
    bool gateway_answered = false;
    std::optional<int> cloud_status;
    bool cloud_status_answered = false;
    Peer router;
    Peer supernode;
    bool hubs_answered = false;
    bool tunnels_known = false;
    bool tunnels_answered = false;

    [[nodiscard]] bool has_joined() const { return enrolment.is_on_corvane.value_or(false); }
};

// Blocks until `deadline` at most.
Facts collect_facts(Deadline deadline);

// The settings alone. Blocks for a dozen runs of a tool.
Enrolment read_enrolment();

}  // namespace harbex::tools
