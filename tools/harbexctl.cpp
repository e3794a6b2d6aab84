// harbexctl: the SD-WAN library at the command line.
#include <curl/curl.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "commands.h"
#include "common/error_code.h"
#include "common/trace_log.h"
#include "report.h"

namespace {

using harbex::tools::Command;
using harbex::tools::Group;
using harbex::tools::Output;

constexpr int kFailed = 1;
constexpr int kUsage = 64;

struct Invocation {
    CLI::App* app = nullptr;
    const Command* command = nullptr;
    std::vector<std::string> arguments;
};

std::string full_name(const Command& command) {
    return *command.group == '\0' ? command.name : std::string(command.group) + " " + command.name;
}

void add_argument(Invocation& invocation, size_t index) {
    std::string name = invocation.command->arguments[index];
    const bool optional = name.front() == '[';
    if (optional) name = name.substr(1, name.size() - 2);
    CLI::Option* option = invocation.app->add_option(name, invocation.arguments[index]);
    if (!optional) option->required();
}

// One entry a command; the texts that CLI11 fills must not move afterwards.
void add_commands(CLI::App& app, std::vector<Invocation>& invocations) {
    std::map<std::string, CLI::App*> parents = {{"", &app}};
    for (const Group& group : harbex::tools::groups()) {
        parents[group.name] = app.add_subcommand(group.name, group.description)->require_subcommand(1);
    }
    invocations.resize(harbex::tools::commands().size());
    size_t next = 0;
    for (const Command& command : harbex::tools::commands()) {
        Invocation& invocation = invocations[next++];
        invocation = {parents.at(command.group)->add_subcommand(command.name, command.description), &command,
                      std::vector<std::string>(command.arguments.size())};
        for (size_t index = 0; index < command.arguments.size(); ++index)
            add_argument(invocation, index);
    }
}

int run(const Invocation& invocation, Output output) {
    harbex::JsonValue data;
    harbex::tools::Outcome outcome = harbex::ERR_GENERAL;
    try {
        outcome = invocation.command->run(invocation.arguments, data);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "harbexctl: %s\n", error.what());
    }
    const bool is_shown = harbex::tools::show(output, full_name(*invocation.command), outcome, data);
    return is_shown && outcome.code == harbex::NO_ERROR ? 0 : kFailed;
}

int misused(const std::string& complaint) {
    std::fprintf(stderr, "harbexctl: %s\nharbexctl --help tells what can be done.\n", complaint.c_str());
    return kUsage;
}

int run_command_line(int argc, char** argv) {
    CLI::App app("Joins this NAS to an SD-WAN organisation, shows its state, takes it out again.", "harbexctl");
    app.require_subcommand(1);
    bool json = false;
    app.add_flag("--json", json, "One JSON document instead of text for people");
    app.fallthrough();
    std::vector<Invocation> invocations;
    try {
        add_commands(app, invocations);
        app.parse(argc, argv);
    } catch (const CLI::RequiredError& error) {
        // An unknown command is to CLI11 first of all the lack of a known one.
        const std::vector<std::string> unknown = app.remaining(true);
        if (unknown.empty()) return misused(error.what());
        return misused("there is no command '" + unknown.front() + "' here");
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ExtrasError&) {
        return misused("there are too many arguments");  // not echoed: one may be a sign-in answer
    } catch (const CLI::ParseError& error) {
        return misused(error.what());
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    harbex::system::set_log_file_wrapper();
    for (const Invocation& invocation : invocations) {
        if (invocation.app->parsed()) return run(invocation, json ? Output::kJson : Output::kPeople);
    }
    return misused("a command is required");
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    try {
        return run_command_line(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "harbexctl: %s\n", error.what());
        return kFailed;
    }
}
