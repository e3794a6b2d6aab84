#include "facts.h"

#include <fstream>
#include <utility>

#include "common/error_code.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "corvane/device/settings.h"

namespace harbex::tools {
namespace {

constexpr int kLongEnough_s = 60;  // behind every deadline: the collection ends first

Known read_known(const corvane::Setting& setting) {
    std::string value;
    if (corvane::read_setting(setting, value) != NO_ERROR) return std::nullopt;
    return value;
}

std::optional<bool> read_on_corvane() {
    std::string path;
    if (corvane::get_install_path(path) != NO_ERROR) return std::nullopt;
    return std::ifstream(path + system::kAgentConfiguration).is_open();
}

Source ask_life(const char* service, Life& life) {
    return [service, &life] {
        const Life found = probe(service, kLongEnough_s);
        return [found, &life] { life = found; };
    };
}

Source ask_enrolment(Facts& facts) {
    return [&facts] {
        return [enrolment = read_enrolment(), &facts]() mutable { facts.enrolment = std::move(enrolment); };
    };
}

Source ask_gateway(Facts& facts) {
    return [&facts] {
        return [ifname = corvane::get_gateway_interface_name(), ip = corvane::get_gateway_ip(), &facts]() mutable {
            facts.gateway_ifname = std::move(ifname);
            facts.gateway_ip = std::move(ip);
        };
    };
}

Source ask_cloud_status(Facts& facts) {
    return [&facts] {
        int status = 0;
        const bool known = corvane::get_cloud_status(status) == NO_ERROR;
        return [status, known, &facts] {
            if (known) facts.cloud_status = status;
        };
    };
}

Source ask_hubs(Facts& facts) {
    return [&facts] {
        Peer router;
        Peer supernode;
        // A hub of which nothing is known has empty texts, whatever the reason.
        (void)corvane::bsh_get_hubinfo(router.name, router.ip, supernode.name, supernode.ip);
        return [router = std::move(router), supernode = std::move(supernode), &facts] {
            facts.router.name = router.name;
            facts.router.ip = router.ip;
            facts.supernode.name = supernode.name;
            facts.supernode.ip = supernode.ip;
        };
    };
}

Source ask_tunnels(Facts& facts) {
    return [&facts] {
        int router = 0;
        int supernode = 0;
        const bool known = corvane::bsh_get_ipsec_status(router, supernode) == NO_ERROR;
        return [router, supernode, known, &facts] {
            facts.tunnels_known = known;
            facts.router.tunnels = router;
            facts.supernode.tunnels = supernode;
        };
    };
}

}  // namespace

Enrolment read_enrolment() {
    Enrolment found;
    found.is_on_corvane = read_on_corvane();
    std::string mark;
    (void)corvane::read_setting(corvane::kBidTokenStatus, mark);  // an unreadable mark is none
    found.is_marked = mark == corvane::kAlreadyJoined;
    found.org_id = read_known(corvane::kOrgId);
    found.org_name = read_known(corvane::kOrgName);
    found.region_id = read_known(corvane::kRegionId);
    found.region_name = read_known(corvane::kRegionName);
    found.virtual_ip = read_known(corvane::kVirtualIp);
    found.token = read_account_token();
    return found;
}

Facts collect_facts(Deadline deadline) {
    Facts facts;
    const std::vector<bool> answered =
        ask_all({ask_life(system::kNetworkService, facts.daemon), ask_life(system::kNetworkManager, facts.manager),
                 ask_life(system::kEdgeDaemon, facts.edge), ask_enrolment(facts), ask_gateway(facts),
                 ask_cloud_status(facts), ask_hubs(facts), ask_tunnels(facts)},
                deadline);
    facts.settings_answered = answered[3];
    facts.gateway_answered = answered[4];
    facts.cloud_status_answered = answered[5];
    facts.hubs_answered = answered[6];
    facts.tunnels_answered = answered[7];
    return facts;
}

}  // namespace harbex::tools
