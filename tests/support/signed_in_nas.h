// The NAS of the full appliance in a known state, the cloud beside it, and what a step left in both.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "appliance/cloud_client.h"
#include "common/settings_files.h"
#include "support/fault.h"
#include "support/files.h"
#include "support/reply_rows.h"

namespace harbex::test {

// A tool that fails from its nth run for a key on.
inline std::string failing_for(const std::string& tool, const std::string& key, int nth = 1) {
    return "[ \"$2\" = " + key + " ] && echo >>/tmp/runs && [ $(wc -l </tmp/runs) -ge " + std::to_string(nth) +
           " ] && exit 1\nexec /sbin/" + tool + ".replaced \"$@\"";
}

// The value behind `key` in a settings file; "-" when there is none.
inline std::string stored(const char* file, const std::string& key) {
    const std::string text = "\n" + read_text(file);
    const size_t found = text.find("\n" + key + " = ");
    if (found == std::string::npos) return "-";
    const size_t start = found + key.size() + 4;
    return text.substr(start, text.find('\n', start) - start);
}

inline void replace_in(const char* file, const std::string& from, const std::string& to) {
    std::string text = read_text(file);
    const size_t found = text.find(from);
    ASSERT_NE(found, std::string::npos) << from;
    write_text(file, text.replace(found, from.size(), to));
}

inline std::string last_error(TraceReader& log) {
    const std::string errors = lines_of(log, "ERROR");
    return errors.substr(errors.rfind('\n') + 1);
}

// What an operation makes of one fault.
struct FaultRow {
    const char* value;
    std::string outcome;
    std::string error;  // how the last ERROR line begins; "" for a run without one
};

// Each test begins signed in, with an organisation, its site, its SD-WAN token and the region "auto" chosen, and the
// user's contact known; not joined.
class SignedInNas : public testing::Test {
protected:
    static constexpr const char* kAgentFile = "/etc/config/harbex/cloudagent.cfg";
    static constexpr const char* kAgentLink = "/opt/harbex/etc/cloudagent/cloudagent.cfg";

    static void SetUpTestSuite() {
        if (!bid_.empty()) return;
        const Finished ready = shell(
            "set -e; signin | harbexctl sign-in; harbexctl org use org-7f3a1c 'Field Office'; harbexctl region use "
            "auto;"
            "setcfg 'Brindle ID Service' DISPLAY_NAME 'Ada Field' -f /etc/config/harbex/bid.conf;"
            "setcfg 'Brindle ID Service' EMAILS ada.field@harbex.example -f /etc/config/harbex/bid.conf;"
            "bsh harbex_network_service.Get_corvanetoken '{\"orgId\": \"org-7f3a1c\"}'");
        ASSERT_EQ(0, ready.status) << ready.out << ready.err;
        bid_ = read_text(kBidConf);
        corvane_ = read_text(kCorvaneConf);
    }
    void SetUp() override { begin(); }

    // Back to the state described above; the cloud offers `virtual_ip`.
    static void begin(const std::string& virtual_ip = "10.8.0.21") {
        write_text(kBidConf, bid_);
        write_text(kCorvaneConf, corvane_);
        for (const char* file : {kAgentFile, kAgentLink, "/tmp/runs"})
            std::filesystem::remove(file);
        const std::string change = "cloudctl set '{\"virtual_ip\": \"" + virtual_ip + "\"}'";
        ASSERT_EQ(0, shell(change + " && cloudctl requests --clear").status);
    }

    // Runs `run` from the beginning once a row, while `name` fails as the row says.
    static void expect_faults(const std::string& name, std::string (*run)(), const std::vector<FaultRow>& rows) {
        TraceReader log;
        for (const FaultRow& row : rows) {
            begin();
            const Fault fault(name, row.value);
            EXPECT_EQ(row.outcome, run()) << name << " " << row.value;
            const std::string error = last_error(log);
            EXPECT_EQ(row.error, row.error.empty() ? error : error.substr(0, row.error.size()))
                << name << " " << row.value;
        }
    }

    // What the cloud saw since the last look, as "METHOD TARGET" joined by line breaks.
    static std::string requests() {
        std::string seen;
        for (const JsonOwner& record : recorded_requests())
            seen += at(record.get(), {"method"}) + " " + at(record.get(), {"target"}) + "\n";
        return seen.substr(0, seen.empty() ? 0 : seen.size() - 1);
    }

    // A request with its own header lines, without those that the transfer library adds, and its body.
    static std::string request_text(const json_t* record) {
        std::string text = at(record, {"method"}) + " " + at(record, {"target"}) + "\n";
        size_t index = 0;
        json_t* line = nullptr;
        json_array_foreach(json_object_get(record, "headers"), index, line) {
            const std::string header = json_string_value(line);
            if (!header.starts_with("Host:") && !header.starts_with("Accept:") && !header.starts_with("Content-Le"))
                text += header + "\n";
        }
        return text + at(record, {"body"});
    }

    // What there is of an enrolment, in the order in which it is stored: address, serial number, region, agent
    // configuration, marker.
    static std::string enrolment() {
        return stored(kCorvaneConf, "virtual_ip") + " " +
               (stored(kCorvaneConf, "corvane_serial_num") == "-" ? "-" : "serial") + " " +
               stored(kCorvaneConf, "CORVANE_REGION_ID") + " " +
               (std::filesystem::exists(kAgentLink) ? "agent" : "-") + " " + stored(kBidConf, "bid_token_status");
    }

    static std::string vellum_token() { return stored(kBidConf, "VELLUM_TOKEN"); }
    static std::string corvane_token() { return stored(kCorvaneConf, "CORVANE_TOKEN"); }

private:
    static inline std::string bid_;
    static inline std::string corvane_;
};

}  // namespace harbex::test
