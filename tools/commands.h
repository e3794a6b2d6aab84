// What the rows of the command table run. Each fills the call's document, and its text for people where that differs.
#pragma once

#include "command.h"

namespace harbex::tools {

Outcome status(Call& call);
Outcome wait_for(Call& call);
Outcome doctor(Call& call);
Outcome metrics(Call& call);
Outcome bundle(Call& call);
Outcome version(Call& call);
Outcome completion(Call& call);
Outcome precheck(Call& call);
Outcome internet(Call& call);

Outcome sign_in(Call& call);
Outcome token_refresh(Call& call);

Outcome org_list(Call& call);
Outcome org_create(Call& call);
Outcome org_use(Call& call);
Outcome region_list(Call& call);
Outcome region_use(Call& call);

Outcome join(Call& call);
Outcome leave(Call& call);
Outcome agent_start(Call& call);
Outcome agent_stop(Call& call);

Outcome virtual_ip_set(Call& call);
Outcome supernode_usage(Call& call);
Outcome supernode_devices(Call& call);
Outcome supernode_traffic(Call& call);
Outcome supernode_apply(Call& call);
Outcome supernode_halt(Call& call);

Outcome vpn_list(Call& call);
Outcome vpn_kick(Call& call);

Outcome tour_show(Call& call);
Outcome tour_set(Call& call);
Outcome event_add(Call& call);

}  // namespace harbex::tools
