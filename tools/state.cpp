#include "state.h"

#include "time_text.h"

namespace harbex::tools {
namespace {

// In the order of the enumeration.
constexpr StateRow kStates[] = {
    {State::kDaemonDown, "daemon-down", "harbexctl doctor"},
    {State::kManagerDown, "manager-down", "harbexctl doctor"},
    {State::kEdgeDown, "edge-down", "harbexctl agent start"},
    {State::kSignInExpired, "sign-in-expired", "harbexctl token refresh"},
    {State::kJoinedDown, "joined-down", "harbexctl doctor"},
    {State::kJoined, "joined", "harbexctl supernode usage"},
    {State::kOrganisationChosen, "organisation-chosen", "harbexctl join"},
    {State::kSignedIn, "signed-in", "harbexctl org list"},
    {State::kFactory, "factory", "harbexctl sign-in"},
};

std::string describe_service(const char* service, Life life, const char* consequence) {
    std::string text = name_for_people(service);
    text[0] = 'T';
    text += life == Life::kSilent ? " does not answer" : " is not running";
    return text + consequence;
}

std::string organisation_of(const Enrolment& enrolment) {
    const std::string name = enrolment.org_name.value_or("");
    return name.empty() ? enrolment.org_id.value_or("") : name;
}

}  // namespace

std::span<const StateRow> states() {
    return kStates;
}

const StateRow& row_of(State state) {
    return kStates[static_cast<size_t>(state)];
}

bool has_tunnel(const Facts& facts) {
    return facts.tunnels_known && (facts.router.tunnels != 0 || facts.supernode.tunnels != 0);
}

namespace {

// As if all services lived.
State judge_enrolment(const Facts& facts, int64_t now_s) {
    const Enrolment& enrolment = facts.enrolment;
    if (enrolment.token.is_present && !enrolment.token.is_valid(now_s)) return State::kSignInExpired;
    if (facts.has_joined()) return has_tunnel(facts) ? State::kJoined : State::kJoinedDown;
    if (!enrolment.token.is_present) return State::kFactory;
    return enrolment.org_id.value_or("").empty() ? State::kSignedIn : State::kOrganisationChosen;
}

}  // namespace

State judge(const Facts& facts, int64_t now_s) {
    if (facts.daemon != Life::kUp) return State::kDaemonDown;
    if (facts.manager != Life::kUp) return State::kManagerDown;
    if (facts.edge != Life::kUp) return State::kEdgeDown;
    return judge_enrolment(facts, now_s);
}

const char* next_command(State state, const Facts& facts, int64_t now_s) {
    const bool is_stuck = state == State::kEdgeDown && facts.edge == Life::kSilent;
    if (is_stuck || !facts.settings_answered || !facts.enrolment.token.is_known) return "harbexctl doctor";
    const bool needs_no_edge = state == State::kEdgeDown && !facts.has_joined();
    return row_of(needs_no_edge ? judge_enrolment(facts, now_s) : state).next;
}

std::string describe(State state, const Facts& facts) {
    const Enrolment& enrolment = facts.enrolment;
    const std::string organisation = organisation_of(enrolment);
    switch (state) {
        case State::kDaemonDown:
            return describe_service(system::kNetworkService, facts.daemon, "; nothing can be asked of the cloud.");
        case State::kManagerDown:
            return describe_service(system::kNetworkManager, facts.manager, "; the gateway is unknown.");
        case State::kEdgeDown:
            return describe_service(system::kEdgeDaemon, facts.edge,
                                    facts.has_joined() ? "; no tunnel is up." : "; a join starts it.");
        case State::kSignInExpired:
            return "The sign-in has expired (" + time_text(enrolment.token.expires_at_s) +
                   "); it can be renewed, or signed in anew.";
        case State::kJoinedDown:
            return "This NAS has joined " + organisation + ", but no tunnel is up.";
        case State::kJoined:
            return facts.router.tunnels == 1 && facts.supernode.tunnels == 1
                       ? "This NAS has joined " + organisation + ", and its tunnels are up."
                       : "This NAS has joined " + organisation + "; some of its tunnels are down.";
        case State::kOrganisationChosen:
            return "The organisation " + organisation + " is chosen; this NAS has not joined it.";
        case State::kSignedIn:
            return "Somebody is signed in; no organisation is chosen.";
        case State::kFactory:
            break;
    }
    return facts.settings_answered && enrolment.token.is_known ? "Nobody is signed in at this NAS."
                                                               : "The settings of this NAS cannot be read.";
}

}  // namespace harbex::tools
