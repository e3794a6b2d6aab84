// The state of this NAS in the text format of OpenMetrics, for whoever watches a fleet.
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "commands.h"
#include "common/error_code.h"
#include "common/file_descriptor.h"
#include "corvane/device/bus_query.h"
#include "state.h"

namespace harbex::tools {
namespace {

constexpr int kTimeout_s = 6;
constexpr int kTrafficTimeout_s = 2;
constexpr mode_t kMode = 0644;  // the collector is another user
constexpr corvane::BusQuery kTraffic{
    .service = system::kNetworkService, .method = "Get_rxtx", .check_envelope = true};

std::string head(const char* name, const char* type, const char* help) {
    return fmt::format("# TYPE harbex_{0} {1}\n# HELP harbex_{0} {2}\n", name, type, help);
}

std::string sample(const std::string& name, double value) {
    return fmt::format("harbex_{} {:.15g}\n", name, value);
}

std::string state_text(const Facts& facts, int64_t now_s) {
    const State state = judge(facts, now_s);
    std::string text = head("state", "gauge", "1 for the state that holds.");
    for (const StateRow& row : states())
        text += sample(std::string("state{state=\"") + row.word + "\"}", row.state == state ? 1 : 0);
    text += head("tunnels", "gauge", "0 none up, 1 all, 2 some.");
    if (facts.tunnels_known) {
        text += sample("tunnels{peer=\"router\"}", facts.router.tunnels);
        text += sample("tunnels{peer=\"supernode\"}", facts.supernode.tunnels);
    }
    text += head("token_expiry_seconds", "gauge", "When the account token ends, since 1970.");
    if (facts.enrolment.token.is_present)
        text += sample("token_expiry_seconds", static_cast<double>(facts.enrolment.token.expires_at_s));
    return text;
}

std::string traffic_text() {
    std::shared_ptr<json_t> answer;
    const Source source = [&answer] {
        std::shared_ptr<json_t> document = corvane::query_service(kTraffic).document;
        return [document, &answer] { answer = document; };
    };
    (void)ask_all({source}, deadline_in(kTrafficTimeout_s));  // silence leaves the traffic out
    const json_t* interface = json_object_get(json_object_get(answer.get(), "data"), "interface");
    const auto both = [&](const std::string& name, const char* sent, const char* received) {
        if (interface == nullptr) return std::string();
        return sample(name + "{direction=\"sent\"}", json_number_value(json_object_get(interface, sent))) +
               sample(name + "{direction=\"received\"}", json_number_value(json_object_get(interface, received)));
    };
    return head("traffic_bytes", "counter", "Bytes through the gateway's interface.") +
           both("traffic_bytes_total", "tx_bytes", "rx_bytes") +
           head("traffic_rate_kbits", "gauge", "Kilobits a second through the gateway's interface.") +
           both("traffic_rate_kbits", "tx_rate", "rx_rate");
}

// The reader finds the old text or the new one, whole.
bool replace_file(const std::string& path, const std::string& text) {
    std::string fresh = path + ".XXXXXX";
    const system::FileDescriptor file(mkostemp(fresh.data(), O_CLOEXEC));
    const bool written = file.is_open() &&
                         write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                         fchmod(file.get(), kMode) == 0 && fsync(file.get()) == 0;
    if (written && rename(fresh.c_str(), path.c_str()) == 0) return true;
    const int error = errno;
    unlink(fresh.c_str());
    errno = error;
    return false;
}

}  // namespace

Outcome metrics(Call& call) {
    const Facts facts = collect_facts(deadline_in(kTimeout_s));
    std::string text = state_text(facts, time(nullptr));
    if (facts.daemon == Life::kUp && facts.manager == Life::kUp) text += traffic_text();
    text += "# EOF\n";
    const std::string path = call.option("--output");
    if (path.empty()) {
        call.data["text"] = text;
        call.text = std::move(text);
        return NO_ERROR;
    }
    if (replace_file(path, text)) return NO_ERROR;
    return {ERR_SAVE_FILE,
            Cause{.ending = Ending::kLocalFile, .sentence = path + " cannot be written: " + strerror(errno) + "."}};
}

}  // namespace harbex::tools
