#include "command_line.h"

#include <CLI/CLI.hpp>
#include <map>

#include "common/number.h"

namespace harbex::tools {
namespace {

constexpr int64_t kLongestWait_s = 86400;

// One entry a command; the texts that CLI11 fills must not move afterwards.
struct Invocation {
    CLI::App* app = nullptr;
    const Command* command = nullptr;
    std::vector<std::string> arguments;
    std::vector<std::string> options;
};

void add_option(Invocation& invocation, const Option& option, std::string& text) {
    if (option.value == nullptr) {
        invocation.app->add_flag_callback(
            option.name, [&text, &option] { text = option.name; }, option.description);
    } else {
        invocation.app->add_option(option.name, text, option.description)->type_name(option.value);
    }
}

void add_command(CLI::App& parent, const Command& command, Invocation& invocation) {
    invocation = {parent.add_subcommand(command.name, command.description), &command,
                  std::vector<std::string>(command.arguments.size()),
                  std::vector<std::string>(command.options.size())};
    for (size_t index = 0; index < command.arguments.size(); ++index) {
        const Argument& argument = command.arguments[index];
        CLI::Option* const added =
            invocation.app->add_option(argument.name, invocation.arguments[index], argument.description);
        added->type_name("");
        if (!argument.is_optional) added->required();
    }
    for (size_t index = 0; index < command.options.size(); ++index)
        add_option(invocation, command.options[index], invocation.options[index]);
    invocation.app->footer(std::string("Example: harbexctl ") + command.example);
}

void add_commands(CLI::App& app, std::vector<Invocation>& invocations) {
    std::map<std::string, CLI::App*> parents = {{"", &app}};
    for (const Group& group : groups())
        parents[group.name] = app.add_subcommand(group.name, group.description)->require_subcommand(1);
    invocations.resize(commands().size());
    size_t next = 0;
    for (const Command& command : commands())
        add_command(*parents.at(command.group), command, invocations[next++]);
}

bool is_one_of(const std::string& text, std::string_view choices) {
    while (!choices.empty()) {
        const size_t end = std::min(choices.find('|'), choices.size());
        if (choices.substr(0, end) == text) return true;
        choices.remove_prefix(std::min(end + 1, choices.size()));
    }
    return false;
}

// "" when the option's text is one that it takes.
std::string complain_about(const Option& option, const std::string& text) {
    if (option.value == nullptr || text.empty()) return {};
    const std::string_view kind = option.value;
    if (kind == "S") {
        const auto seconds = system::parse_int64(text);
        if (!seconds || *seconds < 1 || *seconds > kLongestWait_s)
            return std::string(option.name) + " takes seconds, from 1 to " + std::to_string(kLongestWait_s);
    } else if (kind.find('|') != std::string_view::npos && !is_one_of(text, kind)) {
        return std::string(option.name) + " takes one of " + option.value;
    }
    return {};
}

// What the whole program shows in help's place.
std::string help_of(const CLI::App& app, const std::vector<Invocation>& invocations) {
    for (const Invocation& invocation : invocations) {
        if (!invocation.app->parsed()) continue;
        const std::string group = invocation.command->group;
        return invocation.app->help("harbexctl" + (group.empty() ? group : " " + group));
    }
    return app.help();
}

void take(const Invocation& invocation, CommandLine& line) {
    line.command = invocation.command;
    line.call.option_names = invocation.command->options;
    line.call.arguments = invocation.arguments;
    line.call.options = invocation.options;
    for (size_t index = 0; index < invocation.options.size() && line.complaint.empty(); ++index)
        line.complaint = complain_about(invocation.command->options[index], invocation.options[index]);
    if (!line.complaint.empty()) line.command = nullptr;
}

void parse(CLI::App& app, int argc, const char* const* argv, CommandLine& line) {
    std::vector<Invocation> invocations;
    try {
        add_commands(app, invocations);
        app.parse(argc, argv);
    } catch (const CLI::CallForVersion&) {
        line.help = version_text();
    } catch (const CLI::Success&) {
        line.help = help_of(app, invocations);
    } catch (const CLI::RequiredError& error) {
        // An unknown command is to CLI11 first of all the lack of a known one.
        const std::vector<std::string> unknown = app.remaining(true);
        line.complaint = unknown.empty() ? error.what() : "there is no command '" + unknown.front() + "' here";
    } catch (const CLI::ExtrasError&) {
        line.complaint = "there are too many arguments";  // not echoed: one may be a sign-in answer
    } catch (const CLI::ParseError& error) {
        line.complaint = error.what();
    }
    if (!line.help.empty() || !line.complaint.empty()) return;
    for (const Invocation& invocation : invocations) {
        if (invocation.app->parsed()) return take(invocation, line);
    }
    line.complaint = "a command is required";
}

}  // namespace

std::string version_text() {
    return "harbexctl " HARBEX_VERSION "\n";
}

void parse_command_line(int argc, const char* const* argv, CommandLine& line) {
    CLI::App app("Joins this NAS to an SD-WAN organisation, shows its state, takes it out again.", "harbexctl");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("--json", line.is_json, "One JSON document instead of text for people");
    app.add_flag("--verbose", line.call.is_verbose, "A line on standard error for each step");
    app.set_version_flag("--version", version_text());
    parse(app, argc, argv, line);
    // A command line that is not understood may still say how to answer.
    for (int index = 1; index < argc; ++index)
        line.is_json = line.is_json || std::string_view(argv[index]) == "--json";
    line.call.is_json = line.is_json;
}

}  // namespace harbex::tools
