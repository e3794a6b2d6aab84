// The NAS of the full appliance in a known state, the cloud beside it, and what a step left in both.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "appliance/cloud_client.h"
#include "common/json.h"
#include "common/settings_files.h"
#include "support/fault.h"
#include "support/files.h"
#include "support/reply_rows.h"

namespace harbex::test {

// A setcfg that fails for one key, from its nth write on.
inline std::string setcfg_without(const std::string& key, int nth = 1) {
    return "[ \"$2\" = " + key + " ] && echo >>/tmp/writes && [ $(wc -l </tmp/writes) -ge " + std::to_string(nth) +
           " ] && exit 1\nexec /sbin/setcfg.replaced \"$@\"";
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

inline std::string text_of(JsonValue& document) {
    char* text = nullptr;
    size_t length = 0;
    FILE* stream = open_memstream(&text, &length);
    document.print(stream);
    fclose(stream);
    std::string found(text, length);
    free(text);
    return found;
}

// Each test begins signed in, with an organisation, its site, its SD-WAN token and the region "auto" chosen, and the
// user's contact known; not joined.
class SignedInNas : public testing::Test {
protected:
    static constexpr const char* kPersistentAgentFile = "/etc/config/harbex/cloudagent.cfg";
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
        std::filesystem::remove(kPersistentAgentFile);
        std::filesystem::remove(kAgentLink);
        std::filesystem::remove("/tmp/writes");
        const Finished set =
            shell("cloudctl set '{\"virtual_ip\": \"" + virtual_ip + "\"}' && cloudctl requests --clear");
        ASSERT_EQ(0, set.status) << set.err;
    }

    // What the cloud saw since the last look, as "METHOD TARGET".
    static std::vector<std::string> requests() {
        std::vector<std::string> seen;
        for (const JsonOwner& record : recorded_requests())
            seen.push_back(at(record.get(), {"method"}) + " " + at(record.get(), {"target"}));
        return seen;
    }

    // A request's own header lines, in order, without what the transfer library adds.
    static std::vector<std::string> header_lines(const json_t* record) {
        std::vector<std::string> lines;
        size_t index = 0;
        json_t* line = nullptr;
        json_array_foreach(json_object_get(record, "headers"), index, line) {
            const std::string text = json_string_value(line);
            if (!text.starts_with("Host:") && !text.starts_with("Accept:") && !text.starts_with("Content-Length:"))
                lines.push_back(text);
        }
        return lines;
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

inline std::string last_error(TraceReader& log) {
    const std::string errors = lines_of(log, "ERROR");
    return errors.substr(errors.rfind('\n') + 1);
}

}  // namespace harbex::test
