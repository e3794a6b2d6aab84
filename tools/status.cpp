#include <time.h>

#include "commands.h"
#include "common/error_code.h"
#include "state.h"
#include "text_table.h"
#include "time_text.h"

namespace harbex::tools {
namespace {

constexpr int kDefaultTimeout_s = 6;

// Collects the document and the names of what is missing from it, with the reasons.
class StatusDocument {
public:
    StatusDocument(JsonValue& out, const Facts& facts) : out_(out), facts_(facts) {}

    template <typename Value>
    void set(const char* member, const Value& value, bool is_available, const std::string& reason) {
        out_[member] = value;
        note(member, is_available, reason);
    }

    void set_text(const char* member, const Known& text) {
        set(member, text.value_or(""), text.has_value(), settings_reason());
    }

    void set_peer(const char* member, const Peer& peer) {
        JsonValue& value = out_[member];
        value["name"] = peer.name;
        value["ip"] = peer.ip;
        value["ipsec_status"] = peer.tunnels;
        const bool answered = facts_.tunnels_answered && facts_.hubs_answered;
        note(member, facts_.tunnels_known && peer.is_named(),
             service_reason(system::kEdgeDaemon, facts_.edge, answered, "the edge daemon knows of none"));
    }

    void set_gateway() {
        JsonValue& value = out_["gateway"];
        value["ifname"] = facts_.gateway_ifname;
        value["ip"] = facts_.gateway_ip;
        note("gateway", !facts_.gateway_ifname.empty() && !facts_.gateway_ip.empty(),
             service_reason(system::kNetworkManager, facts_.manager, facts_.gateway_answered,
                            "the network manager knows of none"));
    }

    // Behind all others.
    void set_missing() {
        JsonValue& list = out_["unavailable"];
        JsonValue& reasons = out_["reasons"];
        list << "";
        list.erase();  // an array, also when nothing is missing
        reasons[""] = "";
        reasons.erase();
        for (const auto& [member, reason] : missing_) {
            list << member;
            reasons[member] = reason;
        }
    }

    [[nodiscard]] std::string settings_reason() const {
        return facts_.settings_answered ? "the settings cannot be read" : "the settings could not be read in time";
    }

    static std::string service_reason(const char* service, Life life, bool answered, const char* otherwise) {
        if (life == Life::kDown) return std::string(name_for_people(service)) + " is not running";
        if (life == Life::kSilent || !answered) return std::string(name_for_people(service)) + " does not answer";
        return otherwise;
    }

private:
    void note(const char* member, bool is_available, const std::string& reason) {
        if (!is_available) missing_.emplace_back(member, reason);
    }

    JsonValue& out_;
    const Facts& facts_;
    std::vector<std::pair<const char*, std::string>> missing_;
};

void fill_document(JsonValue& out, const Facts& facts, State state, const char* next) {
    const Enrolment& enrolment = facts.enrolment;
    StatusDocument document(out, facts);
    out["state"] = row_of(state).word;
    out["sentence"] = describe(state, facts);
    out["next"] = next;
    document.set("is_on_corvane", facts.has_joined() ? 1 : 0, enrolment.is_on_corvane.has_value(),
                 document.settings_reason());
    document.set_text("org_name", enrolment.org_name);
    document.set_text("region_name", enrolment.region_name);
    document.set_text("virtual_ip", enrolment.virtual_ip);
    document.set("cloud_status", facts.cloud_status.value_or(0), facts.cloud_status.has_value(),
                 StatusDocument::service_reason(system::kEdgeDaemon, facts.edge, facts.cloud_status_answered,
                                                "the edge daemon does not tell"));
    document.set_peer("router", facts.router);
    document.set_peer("supernode", facts.supernode);
    document.set_gateway();
    JsonValue& services = out["services"];
    services[system::kNetworkService] = word_for(facts.daemon);
    services[system::kNetworkManager] = word_for(facts.manager);
    services[system::kEdgeDaemon] = word_for(facts.edge);
    JsonValue& sign_in = out["sign_in"];
    sign_in["present"] = enrolment.token.is_present;
    sign_in["expires_at"] = static_cast<long long>(enrolment.token.expires_at_s);
    document.set_missing();
}

std::string peer_text(const Peer& peer, bool tunnels_known) {
    if (!peer.is_named() && peer.tunnels == 0) return "-";
    constexpr const char* kTunnels[] = {"tunnels down", "tunnels up", "some tunnels down"};
    const std::string tunnels = tunnels_known ? kTunnels[peer.tunnels] : "tunnels unknown";
    return (peer.is_named() ? peer.name + " (" + peer.ip + "), " : "") + tunnels;
}

std::string or_dash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string text_for_people(const Facts& facts, State state, const char* next) {
    const Enrolment& enrolment = facts.enrolment;
    const std::string gateway = facts.gateway_ifname + " " + facts.gateway_ip;
    std::string text = "State: " + emphasised(row_of(state).word) + "\n" + without_controls(describe(state, facts)) +
                       "\nNext:  " + next + "\n\n";
    std::vector<std::vector<std::string>> rows = {
        {"Signed in until", enrolment.token.is_present ? time_text(enrolment.token.expires_at_s) : "-"},
        {"Organisation", or_dash(enrolment.org_name.value_or(""))},
        {"Region", or_dash(enrolment.region_name.value_or(""))},
        {"Joined", facts.has_joined() ? "yes" : "no"},
        {"Address", or_dash(enrolment.virtual_ip.value_or(""))},
        {"Hub", peer_text(facts.router, facts.tunnels_known)},
        {"Super node", peer_text(facts.supernode, facts.tunnels_known)},
        {"Gateway", gateway == " " ? "-" : gateway},
        {"Daemon", word_for(facts.daemon)},
        {"Network manager", word_for(facts.manager)},
        {"Edge daemon", word_for(facts.edge)},
    };
    const bool is_read = enrolment.is_on_corvane && enrolment.org_name && enrolment.token.is_known;
    if (!is_read) rows.push_back({"Settings", facts.settings_answered ? "cannot be read" : "silent"});
    return text + layout(rows);
}

// A service that is not there is a failure only where something stands on it: a NAS that has not joined needs no
// edge.
Outcome outcome_of(State state, const Facts& facts, const char* next) {
    const Life life = state == State::kDaemonDown                       ? facts.daemon
                      : state == State::kManagerDown                    ? facts.manager
                      : state == State::kEdgeDown && facts.has_joined() ? facts.edge
                                                                        : Life::kUp;
    if (life == Life::kUp) return NO_ERROR;
    return {NO_ERROR, Cause{.ending = life == Life::kDown ? Ending::kServiceDown : Ending::kTimeOut,
                            .sentence = describe(state, facts),
                            .remedy = next}};
}

}  // namespace

Outcome status(Call& call) {
    const Facts facts = collect_facts(call.deadline(kDefaultTimeout_s));
    const int64_t now_s = time(nullptr);
    const State state = judge(facts, now_s);
    const char* const next = next_command(state, facts, now_s);
    fill_document(call.data, facts, state, next);
    call.text = text_for_people(facts, state, next);
    call.schema_version = 1;
    return outcome_of(state, facts, next);
}

}  // namespace harbex::tools
