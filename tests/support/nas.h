#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "appliance/cloud_client.h"
#include "common/settings_files.h"
#include "corvane/cloud/registration.h"
#include "corvane/device/identity.h"
#include "support/fault.h"
#include "support/files.h"
#include "support/rows.h"

namespace harbex::test {

using system::kBidConf, system::kBrindleIdSection, system::kCorvaneConf;
using system::kDebugSection, system::kJoinCorvaneSection;

inline constexpr const char* kGetcfg = "/sbin/getcfg";
inline constexpr const char* kSetcfg = "/sbin/setcfg";

// The value behind `key` in a settings file; "-" when there is none.
inline std::string stored(const char* file, const std::string& key) {
    const std::string text = "\n" + read_text(file);
    const size_t found = text.find("\n" + key + " = ");
    if (found == std::string::npos) return "-";
    const size_t start = found + key.size() + 4;
    return text.substr(start, text.find('\n', start) - start);
}

inline void set_setting(const char* file, const std::string& key, const std::string& value) {
    const char* section = std::string(file) == kBidConf ? kBrindleIdSection : kJoinCorvaneSection;
    EXPECT_EQ(run_program({kSetcfg, section, key, value, "-f", file}).status, 0) << key;
}

inline void replace_in(const char* file, const std::string& from, const std::string& to) {
    std::string text = read_text(file);
    const size_t found = text.find(from);
    ASSERT_NE(found, std::string::npos) << from;
    write_text(file, text.replace(found, from.size(), to));
}

// Something that fails until the end of the scope: one of the two settings tools, for the keys that match a pattern,
// from the nth run for them on; or any part that the program `fault` knows, in one of its ways.
class Broken {
public:
    Broken(const std::string& part, const std::string& how, int nth = 1) {
        if (part != kGetcfg && part != kSetcfg) {
            fault_.emplace(part, how);
            return;
        }
        std::filesystem::remove("/tmp/runs");
        tool_.emplace(part, "case $2 in " + how + ") echo >>/tmp/runs; [ $(wc -l </tmp/runs) -lt " +
                                std::to_string(nth) + " ] || exit 1;; esac\nexec " + part + ".replaced \"$@\"");
    }

private:
    std::optional<Fault> fault_;
    std::optional<ReplacedTool> tool_;
};

inline std::string last_error(LogReader& log) {
    const std::string errors = log.text("ERROR");
    return errors.substr(errors.rfind('\n') + 1);
}

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
            "auto; bid='Brindle ID Service'; setcfg \"$bid\" DISPLAY_NAME 'Ada Field' -f /etc/config/harbex/bid.conf;"
            "setcfg \"$bid\" EMAILS ada.field@harbex.example -f /etc/config/harbex/bid.conf;"
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
        for (const char* file : {kAgentFile, kAgentLink})
            std::filesystem::remove(file);
        const std::string change = "cloudctl set '{\"virtual_ip\": \"" + virtual_ip + "\"}'";
        ASSERT_EQ(0, shell(change + " && cloudctl requests --clear").status);
    }

    // One run from the beginning a row, while `part` fails in the way that is given; errors is how the last one
    // begins.
    template <typename Operation>
    static void expect_faults(const std::string& part, Operation run, const std::vector<Row>& rows) {
        LogReader log;
        for (const Row& row : rows) {
            begin();
            const Broken broken(part, row.given);
            EXPECT_EQ(run().text(), (Outcome{row.code, row.words}.text())) << part << " " << row.given;
            const std::string error = last_error(log);
            EXPECT_EQ(row.errors.empty() ? error : error.substr(0, row.errors.size()), row.errors)
                << part << " " << row.given;
        }
    }

    // Enrols this NAS, which nobody sees. The device's id.
    static std::string enrol() {
        JsonValue document;
        EXPECT_EQ(0, corvane::device_register(document));
        (void)recorded_requests();
        return corvane::get_device_id();
    }

    // What the cloud saw since the last look, as "METHOD TARGET" joined by line breaks.
    static std::string requests() {
        const std::string seen = shell(R"(cloudctl requests --clear | jq -r '.method + " " + .target')").out;
        return seen.substr(0, seen.rfind('\n'));
    }

    // The same with their own header lines, without those that the transfer library adds, and their bodies.
    static std::vector<std::string> request_texts() {
        std::vector<std::string> texts;
        for (const JsonOwner& owner : recorded_requests()) {
            const json_t* record = owner.get();
            texts.push_back(at(record, {"method"}) + " " + at(record, {"host"}) + at(record, {"target"}) + "\n");
            size_t index = 0;
            json_t* line = nullptr;
            json_array_foreach(json_object_get(record, "headers"), index, line) {
                const std::string text = json_string_value(line);
                if (!text.starts_with("Host:") && !text.starts_with("Accept:") && !text.starts_with("Content-Le"))
                    texts.back() += text + "\n";
            }
            texts.back() += at(record, {"body"});
        }
        return texts;
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
