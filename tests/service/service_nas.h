// A NAS with its cloud and its edge daemon: every test starts with factory settings, no faults and a daemon of its
// own, and judges calls by their replies, the daemon's log, what the cloud saw and what the settings hold.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "appliance/cloud_client.h"
#include "common/settings_files.h"
#include "support/daemon.h"
#include "support/fault.h"
#include "support/files.h"

namespace harbex::test {

inline constexpr const char* kNoReply = "(no reply)";

// The envelopes, `data` as JSON text.
inline std::string success(const std::string& data) {
    return R"({"data": )" + data + R"(, "error": 0, "meta": {"version": "1.0"}})";
}
inline std::string refusal(int code, const std::string& message) {
    return R"({"data": "", "error": )" + std::to_string(code) + R"(, "error_message": ")" + message +
           R"(", "meta": {"version": "1.0"}})";
}

// A settings tool ("getcfg" or "setcfg") that fails for one key, or for all of them.
class FailingSetting {
public:
    explicit FailingSetting(const std::string& tool, const std::string& key = "*")
        : tool_("/sbin/" + tool, "case $2 in " + key + ") exit 1 ;; esac\nexec /sbin/" + tool + ".replaced \"$@\"") {}

private:
    const ReplacedTool tool_;
};

inline void set_setting(const char* file, const std::string& key, const std::string& value) {
    const char* section = std::string(file) == kBidConf ? kBrindleIdSection : kJoinCorvaneSection;
    EXPECT_EQ(run_program({"/sbin/setcfg", section, key, value, "-f", file}).status, 0) << key;
}

inline std::string setting(const char* file, const std::string& key) {
    const char* section = std::string(file) == kBidConf ? kBrindleIdSection : kJoinCorvaneSection;
    std::string value = run_program({"/sbin/getcfg", section, key, "-f", file, "-d", "(none)"}).out;
    value.erase(value.find_last_not_of('\n') + 1);
    return value;
}

inline std::string all_settings() {
    return read_text(kBidConf) + read_text(kCorvaneConf);
}

// What the cloud saw since the last question: "METHOD HOST/PATH", the header lines and the body of each request.
inline std::vector<std::string> cloud_requests() {
    std::vector<std::string> requests;
    for (const JsonOwner& record : recorded_requests()) {
        std::string text =
            at(record.get(), {"method"}) + " " + at(record.get(), {"host"}) + at(record.get(), {"target"});
        size_t index = 0;
        const json_t* line = nullptr;
        json_array_foreach(json_object_get(record.get(), "headers"), index, line) {
            text += "\n" + std::string(json_string_value(line));
        }
        requests.push_back(text + "\n\n" + at(record.get(), {"body"}));
    }
    return requests;
}

class ServiceNas : public testing::Test {
protected:
    struct Outcome {
        std::string reply;               // kNoReply when the connection was closed without one
        std::vector<std::string> lines;  // of the daemon's log, behind the one that says the method was entered

        std::vector<std::string> errors() const {
            std::vector<std::string> found;
            for (const std::string& line : lines)
                if (line.starts_with("ERROR ")) found.push_back(line.substr(6));
            return found;
        }
    };

    static void SetUpTestSuite() { ASSERT_EQ(shell("appliance-service stop harbex_network_service").status, 0); }
    void SetUp() override {
        static const std::string factory_bid_conf = read_text(kBidConf);
        static const std::string factory_corvane_conf = read_text(kCorvaneConf);
        write_text(kBidConf, factory_bid_conf);
        write_text(kCorvaneConf, factory_corvane_conf);
        shell("cloudctl requests --clear");
        ASSERT_TRUE(start_daemon());
    }
    void TearDown() override { EXPECT_EQ(daemon_->stop().status, 0); }

    Outcome call(const std::string& method, const std::string& body = "") {
        // A minute after its last look the daemon reopens its log behind a reply, and lines are dropped meanwhile.
        if (std::chrono::steady_clock::now() - started_ > std::chrono::seconds(40)) {
            EXPECT_TRUE(start_daemon());
        }
        (void)log_->lines();
        const BusReply reply = bus_call(kDaemonService, method, body);
        Outcome outcome{reply.result == BS_CALL_CLOSED ? kNoReply : reply.text, log_->lines()};
        if (reply.error() != 0) take_result(method, reply, outcome.lines);
        const auto entered = std::find(outcome.lines.begin(), outcome.lines.end(), "DEBUG Entering " + method);
        EXPECT_NE(entered, outcome.lines.end()) << method;
        if (entered != outcome.lines.end()) outcome.lines.erase(outcome.lines.begin(), entered + 1);
        return outcome;
    }

    void expect_call(const char* name, const std::string& method, const std::string& body, const std::string& reply,
                     const std::vector<std::string>& errors) {
        const Outcome outcome = call(method, body);
        EXPECT_EQ(outcome.reply, reply) << method << ": " << name;
        EXPECT_EQ(outcome.errors(), errors) << method << ": " << name;
    }

    struct Row {
        const char* name;
        std::string given;  // the request, or what is wrong with `part`
        std::string reply;
        std::vector<std::string> errors;
    };
    // One call a row; none of them changes a setting.
    void expect_rows(const std::string& method, const std::vector<Row>& rows) {
        const std::string before = all_settings();
        for (const Row& row : rows)
            expect_call(row.name, method, row.given, row.reply, row.errors);
        EXPECT_EQ(all_settings(), before) << method;
    }
    void expect_faults(const std::string& part, const std::string& method, const std::string& request,
                       const std::vector<Row>& rows) {
        const std::string before = all_settings();
        for (const Row& row : rows) {
            const Fault fault(part, row.given);
            expect_call(row.name, method, request, row.reply, row.errors);
            EXPECT_EQ(all_settings(), before) << method << ": " << row.name;
        }
    }

    // Calls that are all in (as many as the daemon has workers) before the first one gets past a tool that is
    // replaced by a script with kGate in it; in its turn that one has logged `begun`. The replies.
    static constexpr const char* kGate = "until [ -e /tmp/sign ]; do sleep 0.05; done";
    std::vector<std::string> call_together(const std::string& method, const std::vector<std::string>& bodies,
                                           const std::string& begun) {
        constexpr size_t kWorkers = 4;
        std::filesystem::remove("/tmp/sign");
        (void)log_->lines();
        std::vector<std::string> replies(bodies.size());
        std::vector<std::thread> callers;
        callers.reserve(bodies.size());
        size_t entered = 0;
        size_t in_turn = 0;
        for (size_t i = 0; i < bodies.size(); i++) {
            callers.emplace_back([&, i] { replies[i] = bus_call(kDaemonService, method, bodies[i]).text; });
            EXPECT_TRUE(wait_until([&] {
                for (const std::string& line : log_->lines()) {
                    entered += line == "DEBUG Entering " + method;
                    in_turn += line == begun;
                }
                return entered == std::min(i + 1, kWorkers) && in_turn == 1;
            }));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // from their lines to their wait
        write_text("/tmp/sign", "");
        for (std::thread& caller : callers)
            caller.join();
        return replies;
    }

    // Makes the NAS hold tokens that the cloud knows; they came by the way that a sign-in takes.
    std::string sign_nas_in(const std::string& options = "") {
        std::string encoded = shell("signin " + options).out;
        encoded.erase(encoded.find_last_not_of('\n') + 1);
        EXPECT_EQ(call("Save_cloudtoken", R"({"oauth_response_encoded": ")" + encoded + R"("})").reply,
                  success(R"("")"));
        return setting(kBidConf, "VELLUM_TOKEN");
    }

    ServiceLogReader& log() { return *log_; }

private:
    bool start_daemon() {
        const std::filesystem::path rotated = daemon_log() + ".lock";
        daemon_.reset();
        std::filesystem::remove(rotated);
        daemon_ = std::make_unique<Daemon>();
        log_ = std::make_unique<ServiceLogReader>();
        started_ = std::chrono::steady_clock::now();
        // The first call has the log reopened; it is whole again when a later one has left all its lines.
        return daemon_->serving() && wait_until([&] {
                   const bool reopening = std::filesystem::exists(rotated);
                   (void)log_->lines();
                   (void)bus_call(kDaemonService, "Flush_timeout");
                   return reopening && log_->lines().size() == kLinesOfFlush;
               });
    }

    // The handler's result is logged behind the reply; it is the code that was answered.
    static constexpr const char* kFailed = " Callback failed, Ret: ";
    void take_result(const std::string& method, const BusReply& reply, std::vector<std::string>& lines) {
        const std::string head = "ERROR method: " + method + kFailed;
        const auto has_ended = [&] { return !lines.empty() && lines.back().starts_with(head); };
        EXPECT_TRUE(wait_until([&] {
            for (std::string& line : log_->lines())
                lines.push_back(std::move(line));
            return has_ended();
        })) << method;
        if (!has_ended()) return;
        if (reply.result == BS_CALL_OK) {
            EXPECT_EQ(lines.back(), head + std::to_string(reply.error()));
        }
        lines.pop_back();
    }

    static constexpr size_t kLinesOfFlush = 3;
    std::unique_ptr<Daemon> daemon_;
    std::unique_ptr<ServiceLogReader> log_;
    std::chrono::steady_clock::time_point started_;
};

}  // namespace harbex::test
