// The library's flows, as a program of the application calls them.
#include <curl/curl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <sstream>

#include "common/error_code.h"
#include "common/settings_files.h"
#include "common/trace_log.h"
#include "corvane/cloud/precheck.h"
#include "corvane/cloud/region_list.h"
#include "corvane/cloud/registration.h"
#include "corvane/cloud/status.h"
#include "corvane/cloud/unregistration.h"
#include "starving.h"
#include "support/files.h"
#include "support/run_program.h"

namespace bench {
namespace {

using harbex::JsonValue;
using harbex::test::read_text;

constexpr unsigned kLongest_s = 120;
constexpr int kWrong = 3;

struct Flow {
    const char* name;
    int (*run)(JsonValue& document);
    const char* prepare;  // a shell's command, before the first run
};

const Flow kFlows[] = {
    {"status", harbex::corvane::get_corvane_status, "signin | harbexctl sign-in && harbexctl org use org-7f3a1c"},
    {"precheck", harbex::corvane::join_corvane_precheck,
     "setcfg 'Brindle ID Service' bid_token_status already_join_corvane -f /etc/config/harbex/bid.conf"},
    {"regions", [](JsonValue& document) { return harbex::corvane::get_region_list(document, "org-7f3a1c"); }, "true"},
    // Deletes the device in word only, so that it can be done again and again.
    {"leave", harbex::corvane::device_unregister,
     "fault 'cloud:/cvnms/bthings/api/v1/devices/*' none && harbexctl join && "
     "fault 'cloud:/cvnms/bthings/api/v1/devices/*' body:deleted"},
    {"join", harbex::corvane::device_register, "fault 'cloud:/cvnms/bthings/api/v1/devices/*' none"},
};

int shell(const std::string& command) {
    const harbex::test::Finished done = harbex::test::run_program({"/usr/bin/bash", "-c", command});
    if (done.status != 0) std::printf("%s: %s%s\n", command.c_str(), done.out.c_str(), done.err.c_str());
    return done.status;
}

// A settings file with its values left out.
std::string outline(const char* path) {
    std::istringstream lines(read_text(path));
    std::string found;
    for (std::string line; std::getline(lines, line);)
        found += line.substr(0, line.find('=')) + "\n";
    return found;
}

class Settings {
public:
    // "" or the file that is not whole. The precheck takes away bid.conf when it cannot read the marker; it is put
    // back.
    std::string broken() const {
        if (!std::filesystem::exists(harbex::system::kBidConf))
            harbex::test::write_text(harbex::system::kBidConf, text_);
        if (outline(harbex::system::kBidConf) != bid_) return harbex::system::kBidConf;
        return outline(harbex::system::kCorvaneConf) == corvane_ ? "" : harbex::system::kCorvaneConf;
    }

private:
    std::string text_ = read_text(harbex::system::kBidConf);
    std::string bid_ = outline(harbex::system::kBidConf);
    std::string corvane_ = outline(harbex::system::kCorvaneConf);
};

// The flow's result; -1000 when something was thrown.
int run_guarded(const Flow& flow) {
    alarm(kLongest_s);  // what hangs is ended
    try {
        JsonValue document;
        const int result = flow.run(document);
        alarm(0);
        return result;
    } catch (...) {
        return -1000;
    }
}

// What runs write without end.
void empty_logs() {
    (void)!truncate(__log_file__, 0);
    (void)shell("cloudctl requests --clear >/dev/null; : >/var/log/corvane_expressd.log");
}

}  // namespace

int starve_flow_here(const std::string& name, double seconds, int64_t first) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    harbex::system::set_log_file_wrapper();
    AllocatorPage& page = allocator_page();
    for (const Flow& flow : kFlows) {
        if (flow.name != name) continue;
        for (int warm = 0; warm < 2; warm++) {
            if (const int result = run_guarded(flow); result != harbex::NO_ERROR) {
                std::printf("%s ends with %d\n", flow.name, result);
                return kWrong;
            }
        }
        const Settings settings;
        const int64_t needed = count_allocations(page, [&] { (void)run_guarded(flow); });
        int runs = 0;
        const auto one = [&](int64_t number) {
            if (runs++ % 200 == 0) empty_logs();
            page.reached = number;
            page.countdown = number;
            const int result = run_guarded(flow);
            const bool has_failed = page.countdown.exchange(0) <= 0;
            const std::string broken = settings.broken();
            const int next = has_failed ? run_guarded(flow) : result;
            if (result != -1000 && next == harbex::NO_ERROR && broken.empty()) return has_failed ? 1 : 0;
            std::printf("%s, allocation %lld: %d, then %d; %s\n", flow.name, static_cast<long long>(number), result,
                        next, broken.c_str());
            return -1;
        };
        const auto passed = leave_nothing(page, [&] {
            const bool is_right = starve(first, needed, seconds, one);
            first = 1;
            return is_right;
        });
        if (passed) tell(flow.name, needed, *passed);
        return passed ? 0 : kWrong;
    }
    return kWrong;
}

bool starve_flows(double seconds) {
    AllocatorPage& page = allocator_page();
    for (const Flow& flow : kFlows) {
        if (shell(flow.prepare) != 0) return false;
        page.reached = 0;
        int64_t ended = 0;
        for (;;) {
            const harbex::test::Finished done = harbex::test::run_program(
                {"/proc/self/exe", "--flow", flow.name, std::to_string(seconds), std::to_string(page.reached + 1)},
                preload);
            page.countdown = 0;
            std::fputs(done.out.c_str(), stdout);
            std::fflush(stdout);
            if (done.status == 0) break;
            std::printf("%s ended with %d at allocation %lld: %s\n", flow.name, done.status,
                        static_cast<long long>(page.reached.load()), done.err.c_str());
            // Of its own accord jansson's parser ends its program.
            if (done.status != 128 + SIGABRT || done.err.find("Assertion") == std::string::npos) return false;
            ++ended;
        }
        if (ended > 0) std::printf("%s: %lld times ended by the parser\n", flow.name, static_cast<long long>(ended));
    }
    return true;
}

}  // namespace bench
