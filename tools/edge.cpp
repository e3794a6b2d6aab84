// What runs on this NAS once it has joined: its address, the super node.
#include "commands.h"
#include "common/error_code.h"
#include "corvane/cloud/supernode_usage.h"
#include "corvane/device/supernode.h"
#include "read_input.h"

namespace harbex::tools {

Outcome virtual_ip_set(Call& call) {
    return corvane::modify_virtual_ip(call.arguments[0]);
}

Outcome supernode_usage(Call& call) {
    return corvane::bsh_get_supernode_remaining(call.data);
}

Outcome supernode_devices(Call& call) {
    return corvane::bsh_get_supernode_devices(call.data);
}

Outcome supernode_traffic(Call& call) {
    return corvane::bsh_supernode_recent_billing_daily_traffic(call.data);
}

Outcome supernode_apply(Call& call) {
    std::string record;
    std::string why;
    if (const int result = read_input(call.arguments[0], record, why); result != NO_ERROR)
        return {result, Cause{.ending = Ending::kLocalFile, .sentence = why}};
    return corvane::parse_supernode(record);
}

}  // namespace harbex::tools
