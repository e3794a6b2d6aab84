#include "failure_cause.h"

#include <bsvc.h>
#include <time.h>

#include <memory>

#include "account_token.h"
#include "cloud_probe.h"
#include "common/error_code.h"
#include "common/http.h"
#include "common/last_exchange.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/device/identity.h"
#include "result_words.h"
#include "services.h"
#include "time_text.h"
#include "trace_log_tail.h"

namespace harbex::tools {
namespace {

using system::LastExchange;

constexpr int kServiceWait_s = 6;
constexpr int kUnauthorised = 401;
constexpr int kForbidden = 403;
constexpr int kBadRequest = 400;

std::unique_ptr<TraceLogTail> log_tail;

const char* remedy_of(Ending ending) {
    switch (ending) {
        case Ending::kServiceDown:
        case Ending::kTimeOut:
            return "harbexctl doctor tells who does not answer; then type the command again";
        case Ending::kCloud:
            return "harbexctl doctor looks at the way to the cloud; then type the command again";
        case Ending::kNotSignedIn:
            return "sign in: harbexctl sign-in";
        case Ending::kNothingChosen:
            return "choose an organisation: harbexctl org list, then harbexctl org use ID";
        case Ending::kLocalFile:
            return "harbexctl doctor looks at files, directories and disk space";
        default:
            return "";
    }
}

std::string capital(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

Cause transfer_cause(const std::string& host, int result, long status) {
    if (result == system::kTransferTimedOut) return {Ending::kTimeOut, "the cloud did not answer in time: " + host};
    if (result != 0)
        return {Ending::kCloud, "the cloud cannot be reached: " + host + ": " + system::transfer_result_text(result)};
    return {Ending::kCloud, "the cloud refused: " + host + " answered with HTTP status " + std::to_string(status)};
}

Cause bus_cause(const LastExchange& call) {
    const std::string service = name_for_people(call.peer);
    switch (call.result) {
        case BS_CALL_OK:
            break;
        case BS_CALL_NO_SERVICE:
        case BS_CALL_REFUSED:
            return {Ending::kServiceDown, service + " is not running"};
        case BS_CALL_TIMEOUT:
            return {Ending::kTimeOut, service + " did not answer in time"};
        default:
            return {Ending::kServiceDown, service + " ended the call without an answer"};
    }
    const std::string words = call.words;
    const std::string number = " (error " + std::to_string(call.status) + ")";
    return {Ending::kFailed, service + " answered" + (words.empty() ? number : ": " + words + number)};
}

// The daemon answered, but has no token to give.
Cause token_cause(const LastExchange& last) {
    const AccountToken token = read_account_token();
    if (!token.is_known) return {Ending::kLocalFile, "the account token's settings cannot be read"};
    if (!token.is_present) return {Ending::kNotSignedIn, "nobody is signed in at this NAS"};
    const bool has_expired = !token.is_valid(time(nullptr));
    const std::string what =
        has_expired ? "the sign-in expired (" + time_text(token.expires_at_s) + ") and the daemon could not renew it"
                    : "the daemon could not get an SD-WAN token";
    std::optional<LoggedTransfer> transfer;
    if (log_tail) transfer = log_tail->failed_transfer();
    const Cause answer = bus_cause(last);
    if (!transfer) return has_expired ? Cause{Ending::kNotSignedIn, what + ": " + answer.sentence} : answer;
    const std::string url = has_expired ? corvane::get_auth_connector_api_url("") : corvane::get_corvane_api_url("");
    Cause cause = transfer_cause(host_of(url), transfer->result, transfer->status);
    cause.sentence = what + ": " + cause.sentence;
    const int status = transfer->status;
    const bool is_refused = status == kUnauthorised || status == kForbidden || status == kBadRequest;
    if (is_refused && has_expired) cause.ending = Ending::kNotSignedIn;
    return cause;
}

bool is_about_tokens(const Command& command, const Outcome& outcome, const LastExchange& last) {
    if (last.kind != LastExchange::Kind::kBusCall || last.result != BS_CALL_OK || last.status == 0) return false;
    if (std::string_view(last.peer) != system::kNetworkService) return false;
    return outcome.code == ERR_CORVANE_GETCLOUDTOKEN || outcome.code == ERR_CORVANE_GETCORVANETOKEN ||
           std::string_view(command.group) == "token";
}

Cause judge_cause(const Command& command, const Outcome& outcome) {
    const LastExchange last = system::last_exchange();  // a copy: what follows asks, too
    const bool is_edge_command = std::string_view(command.group) == "supernode";
    if (is_edge_command && last.result == BS_CALL_OK && corvane::get_device_id().empty())
        return not_joined(outcome.code).cause;
    if (concerns_others(outcome) && last.kind != LastExchange::Kind::kNone) {
        if (is_about_tokens(command, outcome, last)) return token_cause(last);
        const bool is_transfer = last.kind == LastExchange::Kind::kTransfer;
        const bool has_failed =
            last.result != 0 || (is_transfer ? last.status < 200 || last.status > 299 : last.status != 0);
        if (has_failed) return is_transfer ? transfer_cause(last.peer, last.result, last.status) : bus_cause(last);
        if (ending_of(outcome) != Ending::kLocalFile)
            return {ending_of(outcome), std::string(result_words(outcome)) + " (" + last.peer + ")"};
    }
    return {ending_of(outcome), result_words(outcome)};
}

}  // namespace

void begin_observing() {
    system::forget_last_exchange();
    log_tail = std::make_unique<TraceLogTail>();
}

void explain_failure(const Command& command, Outcome& outcome) {
    if (outcome.code == NO_ERROR || !outcome.cause.sentence.empty()) return;
    Cause cause = judge_cause(command, outcome);
    cause.sentence = capital(cause.sentence);
    if (!cause.sentence.ends_with('.')) cause.sentence += '.';
    if (!outcome.cause.remedy.empty()) cause.remedy = outcome.cause.remedy;
    if (cause.remedy.empty()) cause.remedy = remedy_of(cause.ending);
    if (cause.remedy.empty() && concerns_others(outcome)) cause.remedy = "the log below tells more";
    cause.done = std::move(outcome.cause.done);
    cause.undone = std::move(outcome.cause.undone);
    // A request that the cloud may have seen may have done its work.
    cause.is_repeatable = command.is_repeatable || cause.ending != Ending::kTimeOut;
    outcome.cause = std::move(cause);
}

Outcome check_service(const char* service, int code) {
    const Life life = probe(service, kServiceWait_s);
    if (life == Life::kUp) return NO_ERROR;
    const bool is_silent = life == Life::kSilent;
    const Ending ending = is_silent ? Ending::kTimeOut : Ending::kServiceDown;
    return {code, Cause{.ending = ending,
                        .sentence = capital(name_for_people(service)) +
                                    (is_silent ? " does not answer." : " is not running."),
                        .remedy = remedy_of(ending)}};
}

Outcome not_joined(int code) {
    return {code, Cause{.ending = Ending::kNothingChosen,
                        .sentence = "This NAS has not joined an organisation.",
                        .remedy = "harbexctl join"}};
}

}  // namespace harbex::tools
