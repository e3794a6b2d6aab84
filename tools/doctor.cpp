// Looks at everything a NAS needs to be part of an organisation.
#include <algorithm>

#include "checks.h"
#include "commands.h"
#include "common/error_code.h"
#include "text_table.h"

namespace harbex::tools {
namespace {

constexpr int kDefaultTimeout_s = 13;

std::string text_for_people(const std::vector<Finding>& findings) {
    std::vector<std::vector<std::string>> rows;
    std::string remedies;
    for (const Finding& finding : findings) {
        rows.push_back({finding.is_good ? "good" : "BAD", finding.name, finding.found});
        if (!finding.is_good) remedies += "  " + finding.name + ": " + finding.remedy + "\n";
    }
    return layout(rows) + (remedies.empty() ? "" : "\n" + emphasised("What to do") + "\n" + remedies);
}

}  // namespace

Outcome doctor(Call& call) {
    const std::vector<Finding> findings = check_everything(call.deadline(kDefaultTimeout_s));
    const auto bad =
        std::count_if(findings.begin(), findings.end(), [](const Finding& finding) { return !finding.is_good; });
    call.data["good"] = bad == 0;
    JsonValue& checks = call.data["checks"];
    for (const Finding& finding : findings) {
        auto* const entry = new JsonValue;  // the list's from the next line on
        checks.append(entry);
        (*entry)["name"] = finding.name;
        (*entry)["good"] = finding.is_good;
        (*entry)["found"] = finding.found;
        (*entry)["remedy"] = finding.remedy;
    }
    call.text = text_for_people(findings);
    if (bad == 0) return NO_ERROR;
    return {ERR_GENERAL, Cause{.ending = Ending::kFailed,
                               .sentence = std::to_string(bad) + " of " + std::to_string(findings.size()) +
                                           " checks are not good.",
                               .remedy = "what stands behind the checks"}};
}

}  // namespace harbex::tools
