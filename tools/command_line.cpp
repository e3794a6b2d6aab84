#include "command_line.h"

#include <CLI/CLI.hpp>
#include <map>

#include "common/number.h"
#include "endings.h"

namespace harbex::tools {
namespace {

constexpr int64_t kLongestWait_s = 86400;

// What CLI11 made of one command. Texts are taken from it behind the parsing: its conversions to other types are many
// templates, and none is needed here.
struct Invocation {
    CLI::App* app = nullptr;
    const Command* command = nullptr;
    std::vector<const CLI::Option*> arguments;
    std::vector<const CLI::Option*> options;
};

// "" for one that was not given; a flag holds its own name.
std::string text_of(const CLI::Option* option) {
    if (option->count() == 0) return {};
    return option->get_items_expected() == 0 ? option->get_name() : option->results().front();
}

CLI::Option* add_option(CLI::App& app, const Option& option) {
    CLI::Option* const added =
        option.value == nullptr ? app.add_flag(option.name) : app.add_option(option.name)->type_name(option.value);
    return added->description(option.description);
}

void add_command(CLI::App& parent, const Command& command, Invocation& invocation) {
    invocation.app = parent.add_subcommand(command.name, command.description);
    invocation.command = &command;
    for (const Argument& argument : command.arguments) {
        CLI::Option* const added = invocation.app->add_option(argument.name)->description(argument.description);
        invocation.arguments.push_back(added->required(!argument.is_optional));
    }
    for (const Option& option : command.options)
        invocation.options.push_back(add_option(*invocation.app, option));
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

std::string exit_statuses() {
    std::string text = "Exit status:";
    for (const EndingRow& row : endings())
        text += "\n  " + std::to_string(row.status) + "  " + row.meaning;
    return text;
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
    for (const CLI::Option* argument : invocation.arguments)
        line.call.arguments.push_back(text_of(argument));
    for (const CLI::Option* option : invocation.options)
        line.call.options.push_back(text_of(option));
    for (size_t index = 0; index < line.call.options.size() && line.complaint.empty(); ++index)
        line.complaint = complain_about(invocation.command->options[index], line.call.options[index]);
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
    (void)add_option(app, {"--json", nullptr, "One JSON document instead of text for people"});
    const CLI::Option* const verbose =
        add_option(app, {"--verbose", nullptr, "A line on standard error for each step"});
    app.footer(exit_statuses());
    app.set_version_flag("--version", version_text());
    parse(app, argc, argv, line);
    line.call.is_verbose = verbose->count() != 0;
    // A command line that is not understood may still say how to answer.
    for (int index = 1; index < argc; ++index)
        line.is_json = line.is_json || std::string_view(argv[index]) == "--json";
    line.call.is_json = line.is_json;
}

}  // namespace harbex::tools
