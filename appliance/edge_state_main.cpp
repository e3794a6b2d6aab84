// Shows and changes what the SD-WAN edge of this NAS is doing.
#include <cstdio>
#include <string_view>

#include "edge_state.h"

int main(int argc, char** argv) {
    const std::string_view verb = argc > 1 ? argv[1] : "";
    if (verb == "show" && argc == 2) {
        const appliance::Json state = appliance::read_edge_state();
        json_dumpf(state.get(), stdout, JSON_INDENT(2));
        std::puts("");
        return 0;
    }
    if (verb == "change" && argc == 3) {
        const appliance::Json patch = appliance::parse_json(argv[2]);
        if (!json_is_object(patch.get())) {
            std::fprintf(stderr, "edge_state: the change must be a JSON object\n");
            return 64;
        }
        if (appliance::change_edge_state(patch.get())) return 0;
        std::perror("edge_state");
        return 1;
    }
    std::fprintf(stderr, "usage: edge_state show | edge_state change JSON     (members merge; null removes one)\n");
    return 64;
}
