#pragma once

#include <jansson.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "support/bus_call.h"
#include "support/run_program.h"

namespace harbex::test {

struct Exchange {
    int curl = -1;  // the transfer's own result
    std::string status, body;
};

inline Exchange send_request(std::vector<std::string> words) {
    words.insert(words.begin(), {"/usr/bin/curl", "-s", "-A", "", "-w", "%{http_code}", "-m", "60", "-X"});
    Finished done = run_program(words);
    const size_t end = done.out.size() - std::min<size_t>(3, done.out.size());
    return {done.status, done.out.substr(end), done.out.substr(0, end)};
}

inline JsonOwner parse(const std::string& text) {
    return JsonOwner(json_loadb(text.data(), text.size(), JSON_DECODE_ANY, nullptr));
}

inline std::string at(const json_t* value, const std::vector<const char*>& path) {
    for (const char* key : path)
        value = json_object_get(value, key);
    if (json_is_string(value)) return json_string_value(value);
    if (json_is_integer(value)) return std::to_string(json_integer_value(value));
    return "";
}

inline Finished shell(const std::string& command) {
    return run_program({"/usr/bin/bash", "-c", command});
}

inline std::vector<JsonOwner> recorded_requests() {
    std::istringstream lines(shell("cloudctl requests --clear").out);
    std::vector<JsonOwner> records;
    for (std::string line; std::getline(lines, line);)
        records.push_back(parse(line));
    return records;
}

inline std::string newest_token(const char* key) {
    const JsonOwner state = parse(shell("cloudctl state").out);
    std::string newest;
    const char* token;
    json_t* value;
    json_object_foreach(json_object_get(state.get(), key), token, value) newest = token;
    return newest;
}

inline std::string sign_in(const std::string& options = "") {
    shell("signin " + options);
    return newest_token("access_tokens");
}

constexpr const char* kCorvane = "https://corvane-api.harbex.example";
constexpr const char* kAccept = "accept: application/json";

inline std::string edge_body(const std::string& region) {
    return R"({"deviceName": "harbex-nas", "contact": "Ada Field", "contactEmail": "ada.field@harbex.example", )"
           R"("modelId": 11, "subModelName": "HX-464","locationAddress": "", "timezone": "Asia/Taipei", "regionId": 0, )"
           R"("licenseId": "", "country": "", "identifyMac": "02:00:5e:00:01:0a", "identifySN": "Q263B00417", )"
           R"("identifySid": "", "brindleOrgId": "org-7f3a1c", "brindleSiteId": "site-29b0e4", "corvaneRegionId": ")" +
           region + R"(", "deviceRole": "edge"})";
}

struct Enrolled {
    std::string account_token, corvane_token, device_id, agent_configuration;
};

inline Enrolled enrol_device() {
    Enrolled edge;
    edge.account_token = sign_in();
    const JsonOwner reply = parse(send_request({"POST", std::string(kCorvane) + "/cvnms/bthings/api/v1/edge", "-H",
                                                "vellumToken: " + edge.account_token, "-H",
                                                "Content-Type: application/json", "-d", edge_body("grp-east")})
                                      .body);
    edge.corvane_token = at(reply.get(), {"corvaneToken"});
    edge.device_id = at(reply.get(), {"deviceId"});
    const std::string device = kCorvane + ("/cvnms/bthings/api/v1/devices/" + edge.device_id);
    const std::string authorization = "Authorization: " + edge.corvane_token;
    send_request({"GET", device, "-H", kAccept, "-H", authorization});
    const Exchange configuration =
        send_request({"GET", device + "/cloudagent_cfg?format=json", "-H", kAccept, "-H", authorization});
    edge.agent_configuration = at(parse(configuration.body).get(), {"cloudagentCfg"});
    return edge;
}

}  // namespace harbex::test
