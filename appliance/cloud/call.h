// One request on its way through an endpoint of the simulated cloud, with the checks that endpoints share. A check
// that fails throws the refusal, which answer_request turns into the answer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cloud/credentials.h"
#include "cloud/records.h"
#include "cloud/state.h"

namespace appliance {

struct Refusal {
    int status;
    std::string message;
};

struct Call {
    const CloudRequest& request;
    CloudState& state;
    const Credentials& credentials;
    int64_t now;
    std::string id;  // what stands for the * of the endpoint's path

    void require_header(std::string_view name, std::string_view value) const;
    void require_account(std::string_view token) const;
    // `Authorization: Bearer T` of a signed-in user.
    void require_bearer() const;
    // `vellumToken: T` of a signed-in user.
    void require_vellum_token() const;
    // The organisation of `Authorization: SCHEME C`; an empty scheme stands for the bare token.
    std::string require_corvane(std::string_view scheme) const;
};

// What stands between `prefix` and `suffix`, when `text` has both.
bool cut_between(std::string_view text, std::string_view prefix, std::string_view suffix, std::string& middle);

// The endpoints, by service.
CloudAnswer refresh_tokens(Call& call);
CloudAnswer list_organizations(Call& call);
CloudAnswer create_organization(Call& call);
CloudAnswer show_organization(Call& call);
CloudAnswer list_sites(Call& call);
CloudAnswer show_user(Call& call);
CloudAnswer log_in_edge(Call& call);
CloudAnswer enrol_edge(Call& call);
CloudAnswer check_ip_subnet(Call& call);
CloudAnswer show_topology(Call& call);
CloudAnswer register_device(Call& call);
CloudAnswer show_agent_configuration(Call& call);
CloudAnswer delete_device(Call& call);

}  // namespace appliance
