#include "commands.h"

#include <bsvc.h>

#include <memory>

namespace console {
namespace {

constexpr char kTool[] = "/usr/local/bin/harbexctl";

struct Action {
    const char* name;
    std::vector<std::string> program;
    size_t words;
};

const std::vector<Action>& actions() {
    static const std::vector<Action> rows{
        {"status", {kTool, "--json", "status"}, 0},
        {"sign-in", {"/bin/sh", "-c", "signin | harbexctl --json sign-in"}, 0},
        {"organisations", {kTool, "--json", "org", "list"}, 0},
        {"use-organisation", {kTool, "--json", "org", "use", "--"}, 2},
        {"regions", {kTool, "--json", "region", "list"}, 0},
        {"use-region", {kTool, "--json", "region", "use", "--"}, 1},
        {"sd-wan-token-time",
         {"/sbin/getcfg", "Join Corvane", "CORVANE_TOKEN_LAST_SEEN", "-f", "/etc/config/harbex/corvane.conf", "-d",
          "0"},
         0},
        {"join", {kTool, "--json", "join"}, 0},
        {"leave", {kTool, "--json", "leave"}, 0},
    };
    return rows;
}

struct FreeIo {
    void operator()(bs_io* io) const { bs_io_free(io); }
};

}  // namespace

bool run_action(const std::string& name, const std::vector<std::string>& words, std::string& document) {
    for (const Action& action : actions()) {
        if (name != action.name || words.size() != action.words) continue;
        std::vector<std::string> program = action.program;
        program.insert(program.end(), words.begin(), words.end());
        std::vector<char*> arguments;
        arguments.reserve(program.size() + 1);
        for (std::string& word : program)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const std::unique_ptr<bs_io, FreeIo> out(bs_io_create());
        const std::unique_ptr<bs_io, FreeIo> trouble(bs_io_create());
        (void)bs_io_execv(0, out.get(), trouble.get(), arguments.data());  // the document says how it went
        const char* text = bs_io_read(out.get(), nullptr);
        document = text == nullptr ? "" : text;
        return true;
    }
    return false;
}

}  // namespace console
