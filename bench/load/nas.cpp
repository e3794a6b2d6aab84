#include "nas.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "common/settings_files.h"
#include "support/daemon.h"

namespace bench {
namespace {

using harbex::test::run_program;

constexpr const char* kOrganisation = "org-7f3a1c";

std::string run(const std::vector<std::string>& command) {
    const harbex::test::Finished done = run_program(command);
    if (done.status == 0) return done.out.substr(0, done.out.find('\n'));
    std::fprintf(stderr, "%s ended with %d: %s\n", command[0].c_str(), done.status, done.err.c_str());
    std::exit(1);
}

void store(const char* file, const char* section, const char* key, const char* value) {
    run({"/sbin/setcfg", section, key, value, "-f", file});
}

std::string nothing() {
    return "";
}

std::string report_of_links() {
    return R"({"mqtt_status": true, "vpn_status": false})";
}

std::string sign_in() {
    return R"({"oauth_response_encoded": ")" + run({"/usr/local/bin/signin"}) + R"("})";
}

// Every one is a login, if a concurrent one has not stored its token meanwhile.
std::string stale_token() {
    store(harbex::system::kCorvaneConf, harbex::system::kJoinCorvaneSection, "CORVANE_TOKEN_LAST_SEEN", "0");
    return std::string(R"({"orgId": ")") + kOrganisation + R"("})";
}

std::string ending(const Method& method, int result) {
    return std::string(method.name) + " ended with " + std::to_string(result) + ": ";
}

}  // namespace

const std::vector<Method> kMethods = {
    {"Flush_timeout", nothing, R"({"message": "Timeout state flushed"})"},
    {"Update_and_check_timeout", report_of_links, R"({"is_mqtt_timeout": false, "is_ipsec_timeout": )"},
    {"Get_gateway_info", nothing, R"({"ns": {"rx_bytes": )"},
    {"Get_port_status", nothing, R"([{"carrier_status": true, "port_name": "PORT)"},
    {"Get_rxtx_bytecount", nothing, R"({"eth0": {"rx_bytes_count": )"},
    {"Get_rxtx", nothing, R"({"interface": {"name": "eth0", )"},
    {"Get_public_ip", nothing, R"({"PORT1": {"GROUP_ID": ")"},
    {"Supernode_halt", nothing, R"("")"},
    {"Device_remove_by_corvane", nothing, R"("")"},
    {"Device_unregister_from_nas", nothing, R"("deleted")"},
    {"Get_cloudtoken", nothing, R"("va1.)"},
    {"Get_corvanetoken", stale_token, R"("ct1-)"},
    {"Update_org_name", nothing, R"("Field Office")"},
    {"Refresh_cloudtoken", nothing, R"("")"},
    {"Save_cloudtoken", sign_in, R"("")"},
};

void prepare_nas() {
    run({"/usr/local/bin/appliance-service", "stop", "harbex_network_service"});
    store(harbex::system::kCorvaneConf, harbex::system::kJoinCorvaneSection, "CORVANE_ORG_ID", kOrganisation);
    store(harbex::system::kCorvaneConf, harbex::system::kJoinCorvaneSection, "virtual_ip", "10.8.0.21");
    const std::string fault = "/usr/local/bin/fault";
    run({fault, "cloud:/cvnms/bthings/api/v1/devices/*", "body:deleted"});
    run({fault, "/etc/init.d/corvane_cloudagent.sh", "body:done"});
    run({fault, "/etc/init.d/corvane_express.sh", "body:stopped"});
}

std::string call(const Method& method, const std::string& request) {
    const harbex::test::BusReply reply = harbex::test::bus_call(harbex::test::kDaemonService, method.name, request);
    const std::string head = std::string(R"({"data": )") + method.data;
    if (reply.json != nullptr && reply.text.starts_with(head) &&
        reply.text.ends_with(R"(, "error": 0, "meta": {"version": "1.0"}})")) {
        return "";
    }
    return ending(method, reply.result) + reply.text;
}

std::string turned_away(const Method& method) {
    return ending(method, BS_CALL_CLOSED);
}

void in_threads(unsigned count, const std::function<void(unsigned number)>& work) {
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (unsigned number = 0; number < count; number++)
        threads.emplace_back(work, number);
    for (std::thread& thread : threads)
        thread.join();
}

double memory_kib(pid_t pid, const std::string& field) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/smaps_rollup");
    for (std::string word; file >> word;) {
        double kib = 0;
        if (word == field + ":" && file >> kib) return kib;
    }
    std::fprintf(stderr, "no %s of process %d\n", field.c_str(), static_cast<int>(pid));
    std::exit(1);
}

void report(const char* what, double value, double reference, const char* unit, double ratio, double aim) {
    std::printf("| %s | %.4g | %.4g | %s | %.2f | one run | ≤ %.2f | %s |\n", what, value, reference, unit, ratio,
                aim, ratio <= aim ? "met" : "**missed**");
    std::fflush(stdout);
}

}  // namespace bench
