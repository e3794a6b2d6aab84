// Waits until something is as it should be.
#include <time.h>

#include <algorithm>
#include <thread>

#include "commands.h"
#include "common/error_code.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "facts.h"

namespace harbex::tools {
namespace {

constexpr int kDefaultTimeout_s = 60;

bool reaches_internet() {
    return corvane::bsh_check_access_internet(corvane::get_gateway_interface_name()) == NO_ERROR;
}

bool is_signed_in() {
    return read_account_token().is_valid(time(nullptr));
}

bool has_joined() {
    const Enrolment enrolment = read_enrolment();
    return enrolment.is_marked && enrolment.is_on_corvane.value_or(false);
}

bool has_tunnels() {
    int router = 0;
    int supernode = 0;
    return corvane::bsh_get_ipsec_status(router, supernode) == NO_ERROR && (router != 0 || supernode != 0);
}

struct Goal {
    const char* name;
    bool (*is_reached)();
    std::chrono::milliseconds pause;  // what is asked over the bus writes to the log each time
    const char* sentence;
};
constexpr Goal kGoals[] = {
    {"internet", reaches_internet, std::chrono::milliseconds(1000), "The internet was not reached in time."},
    {"signed-in", is_signed_in, std::chrono::milliseconds(250), "Nobody signed in in time."},
    {"joined", has_joined, std::chrono::milliseconds(250), "This NAS did not join in time."},
    {"tunnels", has_tunnels, std::chrono::milliseconds(1000), "No tunnel came up in time."},
};

// One look, abandoned when it is silent at the deadline.
bool look(const Goal& goal, Deadline deadline) {
    bool reached = false;
    const Source source = [&reached, is_reached = goal.is_reached] {
        const bool found = is_reached();
        return [&reached, found] { reached = found; };
    };
    (void)ask_all({source}, deadline);  // silence is a no
    return reached;
}

}  // namespace

Outcome wait_for(Call& call) {
    const std::string name = call.option("--for");
    const auto* const goal =
        std::find_if(std::begin(kGoals), std::end(kGoals), [&](const Goal& row) { return name == row.name; });
    if (goal == std::end(kGoals))
        return {ERR_UNKNOWN_OPTION,
                Cause{.ending = Ending::kUsage, .sentence = "wait needs --for.", .remedy = "harbexctl wait --help"}};
    const Deadline deadline = call.deadline(kDefaultTimeout_s);
    while (!look(*goal, deadline)) {
        if (std::chrono::steady_clock::now() + goal->pause >= deadline)
            return {ERR_CURL_TIMEOUT, Cause{.ending = Ending::kTimeOut,
                                            .sentence = goal->sentence,
                                            .remedy = "harbexctl status tells where this NAS stands"}};
        std::this_thread::sleep_for(goal->pause);
    }
    return NO_ERROR;
}

}  // namespace harbex::tools
