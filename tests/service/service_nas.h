#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/daemon.h"
#include "support/nas.h"

namespace harbex::test {

// The codes of rows: kNoReply when the connection is closed without one.
inline constexpr int kSuccess = 0;
inline constexpr int kNoReply = -1;

// The envelope: words are the data as JSON text, or the message.
inline std::string envelope(int code, const std::string& words) {
    if (code == kNoReply) return "";
    const std::string end = R"("meta": {"version": "1.0"}})";
    if (code == kSuccess) return R"({"data": )" + words + R"(, "error": 0, )" + end;
    return R"({"data": "", "error": )" + std::to_string(code) + R"(, "error_message": ")" + words + "\", " + end;
}
inline std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

class ServiceNas : public SignedInNas {
protected:
    static void SetUpTestSuite() {
        SignedInNas::SetUpTestSuite();
        ASSERT_EQ(shell("appliance-service stop harbex_network_service").status, 0);
    }
    void SetUp() override {
        begin();
        ASSERT_TRUE(start_daemon());
    }
    void TearDown() override { EXPECT_EQ(daemon_->stop().status, 0); }

    struct Answer {
        std::string reply;  // "" when there is none
        std::string lines;  // of the daemon's log, behind the one that says the method was entered
        std::string errors;
    };
    Answer call(const std::string& method, const std::string& body = "") {
        // A minute after its last look the daemon reopens its log again.
        const bool is_whole = std::chrono::steady_clock::now() - started_ < std::chrono::seconds(40);
        EXPECT_TRUE(is_whole || start_daemon());
        (void)log_->lines();
        const BusReply reply = bus_call(kDaemonService, method, body);
        std::vector<std::string> lines = log_->lines();
        if (reply.error() != 0) {
            // The handler's result is logged behind the reply; it is the code that was answered.
            const std::string last = "ERROR method: " + method + " Callback failed, Ret: ";
            EXPECT_TRUE(wait_for_line(*log_, last, lines)) << method;
            const std::string code = reply.result == BS_CALL_OK ? std::to_string(reply.error()) : "";
            EXPECT_TRUE(lines.back().ends_with(code)) << method;
            lines.pop_back();
        }
        const auto entered = std::find(lines.begin(), lines.end(), "DEBUG Entering " + method);
        EXPECT_NE(entered, lines.end()) << method;
        if (entered != lines.end()) lines.erase(lines.begin(), entered + 1);
        return {reply.text, LogReader::of_level(lines, ""), LogReader::of_level(lines, "ERROR")};
    }

    void expect_call(const std::string& method, const std::string& body, const Row& row) {
        const Answer answer = call(method, body);
        EXPECT_EQ(answer.reply, envelope(row.code, row.words)) << method << ": " << row.given;
        EXPECT_EQ(answer.errors, row.errors) << method << ": " << row.given;
    }
    // None of these changes a setting.
    void expect_requests(const std::string& method, const std::vector<Row>& rows) {
        const std::string before = all_settings();
        for (const Row& row : rows)
            expect_call(method, row.given, row);
        EXPECT_EQ(all_settings(), before) << method;
    }
    void expect_faults(const std::string& part, const std::string& method, const std::string& request,
                       const std::vector<Row>& rows) {
        const std::string before = all_settings();
        for (const Row& row : rows) {
            const Broken broken(part, row.given);
            expect_call(method, request, row);
            EXPECT_EQ(all_settings(), before) << method << ": " << row.given;
        }
    }
    static std::string all_settings() { return read_text(kBidConf) + read_text(kCorvaneConf); }

    // Makes the NAS hold tokens that the cloud knows; they came by the way that a sign-in takes.
    std::string sign_nas_in(const std::string& options) {
        std::string encoded = shell("signin " + options).out;
        encoded.pop_back();
        EXPECT_EQ(call("Save_cloudtoken", R"({"oauth_response_encoded": ")" + encoded + R"("})").reply,
                  envelope(kSuccess, quoted("")));
        (void)requests();
        return vellum_token();
    }

    LogReader& log() { return *log_; }

private:
    bool start_daemon() {
        daemon_.reset();
        daemon_ = std::make_unique<Daemon>();
        log_ = std::make_unique<LogReader>(kDaemonLog);
        started_ = std::chrono::steady_clock::now();
        return daemon_->serving() && daemon_->settle_log();
    }

    std::unique_ptr<Daemon> daemon_;
    std::unique_ptr<LogReader> log_;
    std::chrono::steady_clock::time_point started_;
};

class EdgeNas : public ServiceNas {
protected:
    static constexpr const char* kGateways = "api.get_currentGWinfo";
    static constexpr const char* kCounters = "interfaces_monitor.get_info_interfaces";
    static void SetUpTestSuite() {
        ServiceNas::SetUpTestSuite();
        ASSERT_EQ(shell("appliance-service stop NetworkService").status, 0);
    }
    static void TearDownTestSuite() { EXPECT_EQ(shell("appliance-service start NetworkService").status, 0); }
    void SetUp() override {
        manager_ = std::make_unique<ScriptedService<>>("NetworkService");
        gateway_is("ethernet", 1);
        answer(kCounters, R"({"rx_rate": 1543.21, "tx_rate": 1e12, "rx_bytes": 4294967297, "tx_bytes": 11})");
        ServiceNas::SetUp();
        (void)edge_calls();
    }
    void TearDown() override {
        ServiceNas::TearDown();
        manager_.reset();
    }

    ScriptedService<>& manager() { return *manager_; }
    void answer(const char* method, const std::string& data) {
        manager_->answer(method, R"({"error": 0, "data": )" + data + "}");
    }
    void gateway_is(const std::string& type, int link) {
        answer(kGateways, R"([{"ifname": "wan7", "interface_type": ")" + type +
                              R"(", "metric": 5, "status": {"link_running": )" + std::to_string(link) +
                              R"(, "vlan_id": 12, "IPv4": [{"ip": "192.0.2.7", "netmask": "255.255.255.0"}], )"
                              R"("tx_packets_count": 3, "rx_packets_count": 4294967300}}])");
    }

    // What the edge daemon was asked since the last question, each as "METHOD REQUEST".
    static std::string edge_calls() {
        constexpr const char* kLog = "/var/log/corvane_expressd.log";
        std::istringstream lines(read_text(kLog));
        std::filesystem::remove(kLog);
        std::string calls;
        for (std::string line; std::getline(lines, line);) {
            const JsonOwner entry = parse(line);
            calls += at(entry.get(), {"method"}) + " " + at(entry.get(), {"request"}) + "\n";
        }
        return calls;
    }

private:
    std::unique_ptr<ScriptedService<>> manager_;
};

}  // namespace harbex::test
