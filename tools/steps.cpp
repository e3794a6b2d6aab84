#include "steps.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

#include "common/error_code.h"
#include "corvane/cloud/endpoints.h"
#include "text_table.h"

namespace harbex::tools {

Steps::Steps(std::vector<std::string> names, const Call& call)
    : names_(std::move(names)), is_told_(call.is_verbose || isatty(STDERR_FILENO) != 0) {}

void Steps::begin() {
    if (is_told_) std::fprintf(stderr, "[%zu/%zu] %s\n", begun_ + 1, names_.size(), names_[begun_].c_str());
    ++begun_;
}

Cause Steps::failed(Cause cause) const {
    const auto current = names_.begin() + static_cast<std::ptrdiff_t>(begun_ == 0 ? 0 : begun_ - 1);
    cause.done.insert(cause.done.begin(), names_.begin(), current);
    // A step that told its own parts is among them.
    cause.undone.insert(cause.undone.end(), cause.undone.empty() ? current : current + 1, names_.end());
    return cause;
}

Outcome show_plan(Call& call, const std::vector<PlannedStep>& plan) {
    std::vector<std::vector<std::string>> rows;
    call.data["changed"] = false;
    JsonValue& list = call.data["plan"];
    for (const PlannedStep& step : plan) {
        rows.push_back({step.kind, step.what});
        auto* const entry = new JsonValue;  // the list's from the next line on
        list.append(entry);
        (*entry)["kind"] = step.kind;
        (*entry)["what"] = step.what;
    }
    call.text = "This would be done; nothing was:\n" + layout(rows);
    return NO_ERROR;
}

PlannedStep token_renewal() {
    return {"request", "POST " + corvane::get_auth_connector_api_url("/oauth2/refresh") +
                           " (when the account token has expired)"};
}

}  // namespace harbex::tools
