// harbexctl: the SD-WAN library at the command line.
#include <curl/curl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "ask.h"
#include "command_line.h"
#include "common/error_code.h"
#include "common/trace_log.h"
#include "corvane/device/settings.h"
#include "failure_cause.h"
#include "report.h"

namespace {

using harbex::tools::Call;
using harbex::tools::Command;
using harbex::tools::CommandLine;
using harbex::tools::Ending;
using harbex::tools::Outcome;

constexpr int kPatience_s = 2;

Outcome run(const Command& command, Call& call) try {
    if (command.need.service != nullptr) {
        Outcome without = harbex::tools::check_service(command.need.service, command.need.code_without);
        if (without.code != harbex::NO_ERROR) return without;
    }
    harbex::tools::begin_observing();
    Outcome outcome = command.run(call);
    harbex::tools::explain_failure(command, outcome);
    return outcome;
} catch (const std::exception& error) {
    return {harbex::ERR_GENERAL,
            harbex::tools::Cause{.ending = Ending::kInternal, .sentence = error.what(), .is_repeatable = false}};
}

// The log's place is a setting: a settings tool that hangs must not keep a command from its deadline.
void place_log() {
    const harbex::tools::Source settings = [] {
        std::string path;
        (void)harbex::corvane::get_install_path(path);  // only whether it answers
        return harbex::system::set_log_file_wrapper;
    };
    (void)harbex::tools::ask_all({settings}, harbex::tools::deadline_in(kPatience_s));
}

Ending answer(CommandLine& line) {
    if (!line.complaint.empty()) return harbex::tools::show_misuse(line.is_json, line.complaint);
    if (line.command == nullptr) return harbex::tools::show_text(line.is_json, "help", line.help);
    curl_global_init(CURL_GLOBAL_DEFAULT);
    place_log();
    const Outcome outcome = run(*line.command, line.call);
    return harbex::tools::show(full_name(*line.command), outcome, line.call);
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    Ending ending = Ending::kInternal;
    try {
        CommandLine line;
        harbex::tools::parse_command_line(argc, argv, line);
        ending = answer(line);
    } catch (const std::exception& error) {
        harbex::tools::complain(error.what());
    }
    const int status = harbex::tools::row_of(ending).status;
    // A thread that was left behind may hold anything; all that is to be written is written.
    if (harbex::tools::has_abandoned_sources()) _exit(status);
    return status;
}
