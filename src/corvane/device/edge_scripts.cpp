#include "corvane/device/edge_scripts.h"

#include <vector>

#include "common/error_code.h"
#include "common/exec.h"
#include "common/trace_log.h"
#include "corvane/device/agent_configuration.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

int run(const std::vector<std::string>& argv) {
    std::string output;
    return system::do_exec_safe(argv, output);
}

// Short of memory for the argument, a step fails by itself: those behind it are still taken.
int attempt(int (*script)(const std::string&), const char* argument) {
    try {
        return script(argument);
    } catch (...) {
        return short_of_memory();
    }
}

}  // namespace

int invoke_corvane_express(const std::string& arg) try {
    HARBEXLOG(HARBEXLOG_INFO, "invoke_corvane_express: %s\n", arg.c_str());
    const int result = run({kExpressScript, arg});
    if (result != 0) HARBEXLOG(HARBEXLOG_ERROR, "Failed to execute corvane_express.sh %s\n", arg.c_str());
    return result;
} catch (...) {
    return short_of_memory();
}

int invoke_cloudagent(const std::string& arg) try {
    (void)set_site_use_by_cloudagent();  // the agent runs with the site it has
    HARBEXLOG(HARBEXLOG_INFO, "invoke_cloudagent: %s\n", arg.c_str());
    const int result = run({kAgentScript, arg});
    if (result != 0) HARBEXLOG(HARBEXLOG_ERROR, "Failed to execute corvane_cloudagent.sh %s\n", arg.c_str());
    return result;
} catch (...) {
    return short_of_memory();
}

int remove_corvane_configs() {
    if (attempt(invoke_cloudagent, "remove_corvane_configs") == 0) return NO_ERROR;
    return fail(ERR_CMD_FAILED, "Failed to invoke cloudagent remove_corvane_configs");
}

int stop_corvane_services() {
    if (attempt(invoke_corvane_express, "stop") != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to invoke corvane_express stop, but continue to stop corvane services\n");
    }
    if (attempt(invoke_cloudagent, "remove_dummy_interface") != 0) {
        HARBEXLOG(HARBEXLOG_ERROR,
                  "Failed to invoke cloudagent remove_dummy_interface, but continue to stop corvane services\n");
    }
    if (attempt(invoke_cloudagent, "stop") != 0) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to invoke cloudagent stop, but continue to stop corvane services\n");
    }
    return NO_ERROR;
}

}  // namespace harbex::corvane
