#pragma once

#include <jansson.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/bus_call.h"
#include "support/run_program.h"

namespace harbex::test {

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

inline std::string newest_token(const std::string& key) {
    return shell("cloudctl state | jq -rj '." + key + " | keys_unsorted[-1] // empty'").out;
}

inline std::string edge_body(const std::string& region) {
    return R"({"deviceName": "harbex-nas", "contact": "Ada Field", "contactEmail": "ada.field@harbex.example", )"
           R"("modelId": 11, "subModelName": "HX-464","locationAddress": "", "timezone": "Asia/Taipei", "regionId": 0, )"
           R"("licenseId": "", "country": "", "identifyMac": "02:00:5e:00:01:0a", "identifySN": "Q263B00417", )"
           R"("identifySid": "", "brindleOrgId": "org-7f3a1c", "brindleSiteId": "site-29b0e4", "corvaneRegionId": ")" +
           region + R"(", "deviceRole": "edge"})";
}

}  // namespace harbex::test
