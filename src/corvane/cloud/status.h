// One document for a status page. The library's own.
#pragma once

#include "common/json.h"

namespace harbex::corvane {

// Replaces `out` by {"is_on_corvane": 0 or 1, "org_name", "region_name", "virtual_ip": texts, "cloud_status": int,
// "router" and "supernode": {"name", "ip": texts, "ipsec_status": 0 none, 1 all, 2 some tunnels up}, "gateway":
// {"ifname", "ip": texts}, "unavailable": [names of the members of which a part could not be had]}; such a part holds
// its empty value.
// Blocks for up to five bus calls of 60 s each. NO_ERROR or ERR_NO_MEMORY.
[[nodiscard]] int get_corvane_status(JsonValue& out);

}  // namespace harbex::corvane
