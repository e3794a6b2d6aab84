// Requests to the simulated cloud as an edge would send them, and the cloud's own programs.
#pragma once

#include <curl/curl.h>
#include <jansson.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/bus_call.h"
#include "support/run_program.h"

namespace harbex::test {

struct Exchange {
    int curl = -1;  // the transfer's own result
    long status = 0;
    std::string body;
};

struct Request {
    const char* method;
    std::string url;
    std::vector<std::string> headers;
    std::string body;
};

inline Exchange send_request(const Request& request) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
    curl_slist* lines = nullptr;
    for (const std::string& line : request.headers)
        lines = curl_slist_append(lines, line.c_str());
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(lines, &curl_slist_free_all);
    Exchange exchange;
    curl_easy_setopt(curl.get(), CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, request.method);
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    if (!request.body.empty()) {
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, request.body.c_str());
    }
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &exchange.body);
    curl_easy_setopt(
        curl.get(), CURLOPT_WRITEFUNCTION, +[](char* bytes, size_t size, size_t count, void* text) {
            static_cast<std::string*>(text)->append(bytes, size * count);
            return size * count;
        });
    exchange.curl = curl_easy_perform(curl.get());
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &exchange.status);
    return exchange;
}

inline JsonOwner parse(const std::string& text) {
    return JsonOwner(json_loadb(text.data(), text.size(), JSON_DECODE_ANY, nullptr));
}

// The text or number at the end of `path`, as text; "" when there is none.
inline std::string at(const json_t* value, const std::vector<const char*>& path) {
    for (const char* key : path)
        value = json_object_get(value, key);
    if (json_is_string(value)) return json_string_value(value);
    if (json_is_integer(value)) return std::to_string(json_integer_value(value));
    return "";
}

// Runs one of the appliance's programs by its name.
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

// The state's object `key` has one member name a token; the newest.
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

constexpr const char* kOrganizations = "https://org-center.harbex.example/v1.2/organization";
constexpr const char* kCorvane = "https://corvane-api.harbex.example";
constexpr const char* kJsonType = "Content-Type: application/json";
constexpr const char* kAccept = "accept: application/json";

inline std::string edge_body(const std::string& region = "grp-east") {
    return R"({"deviceName": "harbex-nas", "contact": "Ada Field", "contactEmail": "ada.field@harbex.example", )"
           R"("modelId": 11, "subModelName": "HX-464","locationAddress": "", "timezone": "Asia/Taipei", "regionId": 0, )"
           R"("licenseId": "", "country": "", "identifyMac": "02:00:5e:00:01:0a", "identifySN": "Q263B00417", )"
           R"("identifySid": "", "brindleOrgId": "org-7f3a1c", "brindleSiteId": "site-29b0e4", "corvaneRegionId": ")" +
           region + R"(", "deviceRole": "edge"})";
}

inline Exchange enrol(const std::string& token, const std::string& body) {
    return send_request(
        {"POST", std::string(kCorvane) + "/cvnms/bthings/api/v1/edge", {"vellumToken: " + token, kJsonType}, body});
}

inline std::string device_url(const std::string& id, const std::string& rest = "") {
    return std::string(kCorvane) + "/cvnms/bthings/api/v1/devices/" + id + rest;
}

// An edge that the cloud has enrolled and registered.
struct Enrolled {
    std::string account_token;
    std::string corvane_token;
    std::string device_id;
    std::string agent_configuration;
};

inline Enrolled enrol_device(const std::string& region = "grp-east") {
    Enrolled edge;
    edge.account_token = sign_in();
    const JsonOwner reply = parse(enrol(edge.account_token, edge_body(region)).body);
    edge.corvane_token = at(reply.get(), {"corvaneToken"});
    edge.device_id = at(reply.get(), {"deviceId"});
    const std::vector<std::string> headers{kAccept, "Authorization: " + edge.corvane_token};
    send_request({"GET", device_url(edge.device_id), headers, ""});
    const Exchange configuration =
        send_request({"GET", device_url(edge.device_id, "/cloudagent_cfg?format=json"), headers, ""});
    edge.agent_configuration = at(parse(configuration.body).get(), {"cloudagentCfg"});
    return edge;
}

}  // namespace harbex::test
