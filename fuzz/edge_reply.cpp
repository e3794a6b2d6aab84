// The edge log-in's answer.
#include "common/error_code.h"
#include "corvane/cloud/registration.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    outside = signed_in("");
    std::string device = "untouched", token = "untouched", serial = "untouched";
    const int result = harbex::corvane::parse_api_edge(std::string(input), device, token, serial);
    // Storing the serial number comes last, and does not fail here.
    require(result == harbex::NO_ERROR || device + token + serial == "untoucheduntoucheduntouched",
            "a failure gives nothing");
    require(result != harbex::NO_ERROR || outside.settings.count("virtual_ip") == 1, "the address is stored");
}
