// Where this NAS stands, in one word.
#pragma once

#include <span>
#include <string>

#include "facts.h"

namespace harbex::tools {

// In the order of judgement: the first that holds.
enum class State {
    kDaemonDown,
    kManagerDown,
    kEdgeDown,
    kSignInExpired,
    kJoinedDown,
    kJoined,
    kOrganisationChosen,
    kSignedIn,
    kFactory,
};

struct StateRow {
    State state;
    const char* word;
    const char* next;
};

std::span<const StateRow> states();
const StateRow& row_of(State state);

State judge(const Facts& facts, int64_t now_s);
// The command to type: the state's, or, where it stands in nobody's way, that of the state behind it.
const char* next_command(State state, const Facts& facts, int64_t now_s);
// One sentence about the state.
std::string describe(State state, const Facts& facts);
bool has_tunnel(const Facts& facts);

}  // namespace harbex::tools
